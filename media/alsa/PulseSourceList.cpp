#include "media/alsa/PulseSourceList.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

struct PipeClose {
    void operator()(FILE* pipe) const { pclose(pipe); }
};

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::string pulseSourcePcm(const std::string& source) {
    return "pulse:DEVICE=" + source;
}

bool pulseServerRunning() {
    const char* server = std::getenv("PULSE_SERVER");
    if (server != nullptr && server[0] != '\0')
        return true;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime == nullptr || runtime[0] == '\0')
        return false;
    struct stat info;
    const std::string socket = std::string(runtime) + "/pulse/native";
    return stat(socket.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

std::vector<AlsaDeviceInfo> parsePactlSources(const std::string& text) {
    std::vector<AlsaDeviceInfo> sources;
    std::istringstream lines(text);
    std::string line;
    std::string name, description;
    auto finish = [&] {
        if (!name.empty())
            sources.push_back({pulseSourcePcm(name), description.empty() ? name : description});
        name.clear();
        description.clear();
    };
    while (std::getline(lines, line)) {
        const std::string content = trimmed(line);
        if (content.rfind("Source #", 0) == 0)
            finish();
        else if (content.rfind("Name:", 0) == 0 && name.empty())
            name = trimmed(content.substr(5));
        else if (content.rfind("Description:", 0) == 0 && description.empty())
            description = trimmed(content.substr(12));
    }
    finish();
    return sources;
}

std::vector<AlsaDeviceInfo> listPulseSources() {
    if (!pulseServerRunning())
        return {};
    std::unique_ptr<FILE, PipeClose> pipe(popen("LC_ALL=C pactl list sources 2>/dev/null", "r"));
    if (pipe == nullptr)
        return {};
    std::string text;
    char buffer[4096];
    size_t read;
    while ((read = fread(buffer, 1, sizeof(buffer), pipe.get())) > 0)
        text.append(buffer, read);
    return parsePactlSources(text);
}
