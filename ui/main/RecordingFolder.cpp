#include "ui/main/RecordingFolder.h"

#include <QDir>
#include <QStandardPaths>

#include <filesystem>

std::string videosFolder() {
    const QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (!videos.isEmpty() && QDir(videos).exists())
        return videos.toStdString();
    return QDir::homePath().toStdString();
}

std::string recordingPath(const std::string& name) {
    const std::filesystem::path path(name);
    if (name.empty() || path.is_absolute())
        return name;
    return (std::filesystem::path(videosFolder()) / path).lexically_normal().string();
}
