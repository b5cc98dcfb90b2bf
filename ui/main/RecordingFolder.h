#pragma once
// Where a recording lands. The settings keep the output name as the user typed it ("video.avi"
// by default); a relative name is resolved when a recording starts, in the user's videos
// folder: XDG_VIDEOS_DIR of the user-dirs.dirs file (~/Videos on most desktops), else the home
// folder when that folder does not exist. An absolute name stays as it is.

#include <string>

// The folder relative names are resolved in; also where the save panel opens.
std::string videosFolder();

// `name` as an absolute path.
std::string recordingPath(const std::string& name);
