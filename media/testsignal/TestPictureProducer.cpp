#include "media/testsignal/TestPictureProducer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/Clock.h"

namespace {

const char* const kSourceNames[TestPicture::kSourceCount] = {"Test Picture", "Colour Bars",
                                                             "Black"};
const char* const kStandardNames[] = {"PAL", "NTSC"};

void rateOfStandard(int32 standard, int32* numerator, int32* denominator) {
    if (standard == 1) {
        *numerator = 30000;
        *denominator = 1001;
    } else {
        *numerator = 25;
        *denominator = 1;
    }
}

}  // namespace

TestPictureProducer::TestPictureProducer(std::shared_ptr<TestSignalClock> clock, const char* name)
    : MediaProducer(name, B_MEDIA_RAW_VIDEO),
      fClock(clock != nullptr ? std::move(clock) : std::make_shared<TestSignalClock>()) {
    fClock->SetFrameRate(25, 1);
    fChangeTime = system_time();
}

TestPictureProducer::~TestPictureProducer() {
    Quit();
}

status_t TestPictureProducer::GetLatency(bigtime_t* latency) {
    // A frame is sent at its own time: nothing lies between capture and delivery.
    *latency = 0;
    return B_OK;
}

std::unique_ptr<ParameterWeb> TestPictureProducer::GetParameterWeb() {
    auto web = std::make_unique<ParameterWeb>(this);
    ParameterGroup* video = web->MakeGroup("Video");
    MediaParameter* source =
        video->MakeDiscreteParameter(kTestSourceParameter, "Video Input:", B_INPUT_MUX);
    for (int32 i = 0; i < TestPicture::kSourceCount; i++)
        source->AddItem(i, kSourceNames[i]);
    MediaParameter* format =
        video->MakeDiscreteParameter(kTestFormatParameter, "Video Format:", B_VIDEO_FORMAT);
    for (int32 i = 0; i < 2; i++)
        format->AddItem(i, kStandardNames[i]);
    MediaParameter* channel =
        video->MakeDiscreteParameter(kTestChannelParameter, "Channel:", B_TUNER_CHANNEL);
    for (int32 i = 0; i < TestPicture::kChannelCount; i++)
        channel->AddItem(i, "Test " + std::to_string(i + 1));

    ParameterGroup* picture = web->MakeGroup("Picture");
    picture->MakeContinuousParameter(kTestBrightnessParameter, "Brightness", B_LEVEL, "", -100, 100,
                                     1);
    picture->MakeContinuousParameter(kTestContrastParameter, "Contrast", B_LEVEL, "", -100, 100, 1);
    picture->MakeContinuousParameter(kTestSaturationParameter, "Saturation", B_LEVEL, "", -100, 100,
                                     1);
    return web;
}

status_t TestPictureProducer::GetParameterValue(int32 id, bigtime_t* lastChange, void* value,
                                                size_t* size) {
    if (value == nullptr || size == nullptr)
        return B_BAD_VALUE;
    std::lock_guard lock(fControlLock);
    int32 discrete = 0;
    float continuous = 0;
    bool isDiscrete = true;
    switch (id) {
        case kTestFormatParameter:
            discrete = fStandard;
            break;
        case kTestChannelParameter:
            discrete = fControls.channel;
            break;
        case kTestSourceParameter:
            discrete = fControls.source;
            break;
        case kTestBrightnessParameter:
            continuous = fControls.brightness;
            isDiscrete = false;
            break;
        case kTestContrastParameter:
            continuous = fControls.contrast;
            isDiscrete = false;
            break;
        case kTestSaturationParameter:
            continuous = fControls.saturation;
            isDiscrete = false;
            break;
        default:
            return B_BAD_VALUE;
    }
    if (*size < 4)
        return B_NO_MEMORY;
    if (isDiscrete)
        memcpy(value, &discrete, 4);
    else
        memcpy(value, &continuous, 4);
    *size = 4;
    if (lastChange != nullptr)
        *lastChange = fChangeTime;
    return B_OK;
}

status_t TestPictureProducer::SetParameterValue(int32 id, bigtime_t when, const void* value,
                                                size_t size) {
    if (value == nullptr || size < 4)
        return B_BAD_VALUE;
    int32 discrete;
    float continuous;
    memcpy(&discrete, value, 4);
    memcpy(&continuous, value, 4);
    std::lock_guard lock(fControlLock);
    switch (id) {
        case kTestFormatParameter: {
            if (discrete < 0 || discrete > 1)
                return B_BAD_VALUE;
            fStandard = discrete;
            int32 numerator, denominator;
            rateOfStandard(discrete, &numerator, &denominator);
            fClock->SetFrameRate(numerator, denominator);
            break;
        }
        case kTestChannelParameter:
            if (discrete < 0 || discrete >= TestPicture::kChannelCount)
                return B_BAD_VALUE;
            fControls.channel = discrete;
            break;
        case kTestSourceParameter:
            if (discrete < 0 || discrete >= TestPicture::kSourceCount)
                return B_BAD_VALUE;
            fControls.source = discrete;
            break;
        case kTestBrightnessParameter:
        case kTestContrastParameter:
        case kTestSaturationParameter: {
            if (!std::isfinite(continuous))
                return B_BAD_VALUE;
            const float clamped = std::clamp(continuous, -100.0f, 100.0f);
            if (id == kTestBrightnessParameter)
                fControls.brightness = clamped;
            else if (id == kTestContrastParameter)
                fControls.contrast = clamped;
            else
                fControls.saturation = clamped;
            break;
        }
        default:
            return B_BAD_VALUE;
    }
    fChangeTime = when;
    return B_OK;
}

status_t TestPictureProducer::FormatProposal(media_format* format) {
    if (format->type == B_MEDIA_UNKNOWN_TYPE || format->type == B_MEDIA_NO_TYPE)
        format->type = B_MEDIA_RAW_VIDEO;
    if (format->type != B_MEDIA_RAW_VIDEO)
        return B_MEDIA_BAD_FORMAT;
    media_raw_video_format& video = format->raw_video;
    if (video.display.format == B_NO_COLOR_SPACE)
        video.display.format = kDefaultSpace;
    if (!TestPicture::Supports(video.display.format))
        return B_MEDIA_BAD_FORMAT;
    int32 standard;
    {
        std::lock_guard lock(fControlLock);
        standard = fStandard;
    }
    if (video.display.line_width == 0)
        video.display.line_width = 720;
    if (video.display.line_count == 0)
        video.display.line_count = standard == 1 ? 480 : 576;
    video.field_rate = fClock->FieldRate();
    video.interlace = 1;
    video.orientation = B_VIDEO_TOP_LEFT_RIGHT;
    video.pixel_width_aspect = 1;
    video.pixel_height_aspect = 1;
    return B_OK;
}

status_t TestPictureProducer::PrepareToConnect(media_format* format) {
    status_t status = FormatProposal(format);
    if (status != B_OK)
        return status;
    media_video_display_info& display = format->raw_video.display;
    // Like a capture driver: a size out of range is adjusted, not refused.
    display.line_width = std::clamp<uint32>(display.line_width, 1, TestPicture::kMaxWidth);
    display.line_count = std::clamp<uint32>(display.line_count, 1, TestPicture::kMaxHeight);
    const uint32 minimum = bytesPerRow(display.format, display.line_width);
    if (display.bytes_per_row < minimum)
        display.bytes_per_row = minimum;
    format->raw_video.first_active = 0;
    format->raw_video.last_active = display.line_count - 1;

    auto picture = std::make_unique<TestPicture>(display.line_width, display.line_count,
                                                 display.format, display.bytes_per_row);
    if (picture->InitCheck() != B_OK)
        return picture->InitCheck();
    fPicture = std::move(picture);
    return B_OK;
}

void TestPictureProducer::Connected(const media_format&) {}

void TestPictureProducer::Disconnected() {
    fStreaming = false;
    fPicture.reset();
    fOwnBuffers.reset();
    fBuffers = nullptr;
}

void TestPictureProducer::BufferGroupChanged(BufferGroup* group) {
    fBuffers = group;
}

status_t TestPictureProducer::StartCapture() {
    if (fPicture == nullptr)
        return B_MEDIA_NOT_CONNECTED;
    if (fBuffers == nullptr) {
        if (fOwnBuffers == nullptr) {
            fOwnBuffers = std::make_unique<BufferGroup>(fPicture->FrameSize(), kOwnBufferCount);
            if (fOwnBuffers->InitCheck() != B_OK) {
                status_t status = fOwnBuffers->InitCheck();
                fOwnBuffers.reset();
                return status;
            }
        }
        fBuffers = fOwnBuffers.get();
    }
    // The frame that is due now: where a paced stream joins its grid.
    const bigtime_t origin = StartTime();
    const int64 due = std::max<int64>(0, fClock->FrameAtOrAfter(system_time() - origin + 1) - 1);
    if (origin != fOrigin || !fStreaming) {
        // A new stream: unpaced, it is drawn from its first frame however late it began.
        fOrigin = origin;
        fNextFrame = fPaced.load() ? due : 0;
    } else if (fPaced.load()) {
        // The same stream going on after a reconnect: never a number twice.
        fNextFrame = std::max(fNextFrame, due);
    }
    fStreaming = true;
    return B_OK;
}

status_t TestPictureProducer::CaptureNext() {
    int64 frame = fNextFrame;
    bigtime_t due = fOrigin + fClock->FrameTime(frame);
    const bigtime_t period = fClock->FrameTime(frame + 1) - fClock->FrameTime(frame);
    const bool paced = fPaced.load();
    if (paced) {
        if (!WaitUntil(due))
            return B_OK;
        const bigtime_t now = system_time();
        if (now - due > 2 * period) {
            // Too far behind (a stalled machine): drop what is past, like a card would.
            frame = fClock->FrameAtOrAfter(now - fOrigin);
            due = fOrigin + fClock->FrameTime(frame);
            if (!WaitUntil(due))
                return B_OK;
        }
    }

    const int32 gapEvery = fGapEvery.load();
    if (gapEvery > 1 && frame % gapEvery == gapEvery - 1) {
        fNextFrame = frame + 1;
        return B_OK;
    }

    MediaBuffer* buffer = nullptr;
    status_t status =
        fBuffers->RequestBuffer(fPicture->FrameSize(), paced ? period : 100000, &buffer);
    if (status == B_TIMED_OUT || status == B_WOULD_BLOCK) {
        if (!paced)
            return B_TIMED_OUT;  // try the same frame again
        fDropped.fetch_add(1);
        fNextFrame = frame + 1;
        return B_OK;
    }
    if (status != B_OK)
        return status;
    fNextFrame = frame + 1;

    {
        std::lock_guard lock(fControlLock);
        fPicture->SetControls(fControls);
    }
    int32 numerator, denominator;
    fClock->GetFrameRate(&numerator, &denominator);
    const int32 framesPerSecond = (numerator + denominator - 1) / denominator;
    fPicture->Draw(buffer->Data(), frame, due - fOrigin, framesPerSecond,
                   fClock->IsFlashFrame(frame));

    media_header* header = buffer->Header();
    header->type = B_MEDIA_RAW_VIDEO;
    header->size_used = fPicture->FrameSize();
    header->start_time = due;
    header->sequence = frame;
    header->flags = B_MEDIA_KEY_FRAME;
    header->bytes_per_row = fPicture->BytesPerRow();
    // A refused buffer was recycled by SendBuffer; the stream goes on.
    SendBuffer(buffer);
    return B_OK;
}

void TestPictureProducer::StopCapture() {}
