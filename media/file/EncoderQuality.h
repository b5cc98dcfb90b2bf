#pragma once
// Quality 0..1 for any encoder. 0 means "not specified": the encoder keeps its defaults.
// Encoders read quality through different options, so each family has its own mapping:
//
//   encoders                                  quality q in (0, 1] becomes
//   mpeg1video mpeg2video mpeg4 msmpeg4*      fixed quantiser qscale = 31 - 30 q
//   h261 h263 h263p flv wmv1 wmv2 mjpeg       (AV_CODEC_FLAG_QSCALE, global_quality and
//   amv libxvid                                every frame's quality = FF_QP2LAMBDA * qscale)
//   libx264 libx264rgb libx265                crf = 51 (1 - q)
//   libvpx libvpx-vp9                         crf = 63 (1 - q), bit rate 0 (constant quality)
//   libmp3lame                                VBR level 9 (1 - q) (9 smallest, 0 best)
//   libvorbis                                 VBR level 10 q
//   aac ac3 eac3 libopus libshine wmav1 wmav2 bit rate (32 + 160 q) kbit/s per channel
//   mp2 mp2fixed libtwolame                   the MPEG layer II rate at or below that
//   anything else (lossless, PCM)             nothing: quality has no meaning there

#include "support/Status.h"

struct AVCodecContext;

// Applies `quality` to a context that is not open yet. Returns the value every AVFrame sent
// to the encoder must carry in its `quality` field (0: leave it alone).
int applyEncoderQuality(AVCodecContext* context, float quality);

// What an encoder may hold back before its first packet comes out, in seconds of picture:
// with the file pushed to the disk every half second, a recording cut off by a crash or a
// SIGKILL keeps everything older than a second. Encoders with a deep lookahead by default
// (libx264 40 frames, libvpx and libaom 25 to 35) get a shorter one; they compress a few per
// cent less for it.
constexpr double kMaxEncoderDelay = 0.4;

// Shortens the lookahead of `context` (not open yet) to kMaxEncoderDelay at its frame rate.
// The encoder's parameter web still offers the options, so a user can lengthen them again.
void limitEncoderDelay(AVCodecContext* context);

// Sets, on a context that is not open yet, the defaults Tavro gives an encoder whose own ones
// cannot record a capture: dnxhd's default DNxHD profile takes only a few broadcast sizes at
// fixed bit rates, so it starts on DNxHR HQ, which takes any size from 256 x 120 up; G.726
// starts at 32 kbit/s and G.723.1 at 6.3 kbit/s, the rates they are known by. The parameter
// web still offers the options.
void applyEncoderDefaults(AVCodecContext* context);
