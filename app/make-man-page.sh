#!/bin/sh
# Writes tavro(1) on standard output from `tavro --help` (read from standard input), so that
# the manual page says what the program does. Usage: tavro --help | make-man-page.sh VERSION
set -eu
version="$1"
# roff: a backslash is written \e; a line starting with . or ' needs \& before it.
escape() { sed -e 's/\\/\\e/g' -e "s/^\\([.']\\)/\\\\\\&\\1/" -e 's/-/\\-/g'; }

cat <<HEAD
.TH TAVRO 1 "" "tavro $version" "User Commands"
.SH NAME
tavro \\- watch and record television and other live video with its sound
.SH SYNOPSIS
.B tavro
[\\fIOPTION\\fR]...
.br
.B tavro \\-\\-record
\\fIFILE\\fR [\\fB\\-\\-duration\\fR \\fITIME\\fR] [\\fIOPTION\\fR]...
.SH DESCRIPTION
Without a command, tavro opens its main window (this needs a display): the output file,
the recording format, Record and Stop, the TV controls, the timer and the status panel,
with the live video window and the audio level window beside it.
With a command it runs without windows; \\fB\\-\\-record\\fR records the default video and
audio inputs (the built-in test picture and tone when there is no capture device) into a file.
.SH OPTIONS
.nf
HEAD
sed 1,4d | escape
cat <<'TAIL'
.fi
.SH FILES
.TP
.I $XDG_CONFIG_HOME/zelk.Tavro settings
The settings (window frames, panes, recording formats, the output file name, timed
recordings); ~/.config when XDG_CONFIG_HOME is not set.
.TP
.I the videos folder
Where the main window records a relative file name: the XDG videos folder (XDG_VIDEOS_DIR in
~/.config/user\-dirs.dirs), else the home folder.
.SH ENVIRONMENT
.TP
.B TAVRO_DEBUG
When set (and not 0), Tavro's and its libraries' diagnostics are printed on standard error.
.TP
.BR DISPLAY ", " WAYLAND_DISPLAY
The display the windows open on; tavro says so and exits with status 1 when none answers.
TAIL
