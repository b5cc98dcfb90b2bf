#include "app/records/StationLists.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

namespace {

// A list larger than this is not a station list.
constexpr std::streamsize kMaxListBytes = 4 << 20;

std::string lowered(std::string text) {
    for (char& c : text)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// XML's five named entities and numeric ones below 128; anything else stays as written.
std::string unescaped(const std::string& text) {
    static const std::pair<const char*, char> kNamed[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    std::string result;
    for (size_t i = 0; i < text.size();) {
        bool replaced = false;
        if (text[i] == '&') {
            for (const auto& [entity, character] : kNamed) {
                if (text.compare(i, std::char_traits<char>::length(entity), entity) == 0) {
                    result += character;
                    i += std::char_traits<char>::length(entity);
                    replaced = true;
                    break;
                }
            }
            const size_t end = text.find(';', i);
            if (!replaced && i + 2 < text.size() && text[i + 1] == '#' &&
                end != std::string::npos && end - i <= 6) {
                const std::string digits = text.substr(i + 2, end - i - 2);
                if (!digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) {
                        return std::isdigit(static_cast<unsigned char>(c));
                    })) {
                    const int code = std::stoi(digits);
                    if (code > 0 && code < 128) {
                        result += char(code);
                        i = end + 1;
                        replaced = true;
                    }
                }
            }
        }
        if (!replaced)
            result += text[i++];
    }
    return result;
}

// The value of attribute `name` in the tag text `tag` (between '<' and '>'); empty if absent.
std::string attribute(const std::string& tag, const std::string& name) {
    for (size_t at = tag.find(name); at != std::string::npos; at = tag.find(name, at + 1)) {
        // A whole attribute name: preceded by white space, followed by optional space and '='.
        if (at == 0 || !std::isspace(static_cast<unsigned char>(tag[at - 1])))
            continue;
        size_t i = at + name.size();
        while (i < tag.size() && std::isspace(static_cast<unsigned char>(tag[i])))
            i++;
        if (i >= tag.size() || tag[i] != '=')
            continue;
        i++;
        while (i < tag.size() && std::isspace(static_cast<unsigned char>(tag[i])))
            i++;
        if (i >= tag.size() || (tag[i] != '"' && tag[i] != '\''))
            continue;
        const size_t end = tag.find(tag[i], i + 1);
        if (end == std::string::npos)
            return {};
        return unescaped(tag.substr(i + 1, end - i - 1));
    }
    return {};
}

bool readText(const std::string& path, std::string* text) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    std::vector<char> buffer(size_t(kMaxListBytes) + 1);
    file.read(buffer.data(), std::streamsize(buffer.size()));
    if (file.gcount() > kMaxListBytes)
        return false;
    text->assign(buffer.data(), size_t(file.gcount()));
    return true;
}

}  // namespace

std::vector<Station> ParseTvtimeStations(const std::string& text) {
    std::vector<Station> stations;
    for (size_t at = text.find("<station"); at != std::string::npos;
         at = text.find("<station", at + 1)) {
        const size_t after = at + 8;
        // <stationlist> is not a station.
        if (after >= text.size() || !std::isspace(static_cast<unsigned char>(text[after])))
            continue;
        const size_t end = text.find('>', after);
        if (end == std::string::npos)
            break;
        const std::string tag = text.substr(at + 1, end - at - 1);
        Station station{attribute(tag, "name"), attribute(tag, "channel")};
        const std::string active = attribute(tag, "active");
        if (station.name.empty() || station.channel.empty() || active == "0")
            continue;
        stations.push_back(std::move(station));
    }
    return stations;
}

std::vector<Station> ParseXawtvStations(const std::string& text) {
    // Sections that are not stations.
    static const char* const kOther[] = {"global", "defaults", "launch", "eventmap"};
    std::vector<Station> stations;
    std::istringstream lines(text);
    std::string line;
    Station current;
    bool inStation = false;
    auto finish = [&] {
        if (inStation && !current.name.empty() && !current.channel.empty())
            stations.push_back(current);
        current = {};
        inStation = false;
    };
    while (std::getline(lines, line)) {
        const std::string content = trimmed(line);
        if (content.empty() || content[0] == '#' || content[0] == ';')
            continue;
        if (content.front() == '[' && content.back() == ']') {
            finish();
            current.name = trimmed(content.substr(1, content.size() - 2));
            inStation = std::none_of(std::begin(kOther), std::end(kOther), [&](const char* other) {
                return lowered(current.name) == other;
            });
            continue;
        }
        const size_t equals = content.find('=');
        if (!inStation || equals == std::string::npos)
            continue;
        if (lowered(trimmed(content.substr(0, equals))) == "channel")
            current.channel = trimmed(content.substr(equals + 1));
    }
    finish();
    return stations;
}

std::vector<ChannelPreset> MapStations(const std::vector<Station>& stations,
                                       const std::vector<std::string>& channelNames) {
    std::vector<ChannelPreset> presets;
    for (const Station& station : stations) {
        const std::string wanted = lowered(station.channel);
        for (size_t i = 0; i < channelNames.size(); i++) {
            if (lowered(channelNames[i]) == wanted) {
                presets.push_back({station.name, int32(i)});
                break;
            }
        }
    }
    return presets;
}

std::vector<std::string> StationListPaths(const std::string& home) {
    return {home + "/.tvtime/stationlist.xml", home + "/.xawtv"};
}

status_t ReadStationLists(const std::string& home, const std::vector<std::string>& channelNames,
                          std::vector<ChannelPreset>* presets, std::string* path) {
    presets->clear();
    if (home.empty())
        return B_ENTRY_NOT_FOUND;
    const std::vector<std::string> paths = StationListPaths(home);
    for (size_t i = 0; i < paths.size(); i++) {
        std::string text;
        if (!readText(paths[i], &text))
            continue;
        *presets = MapStations(i == 0 ? ParseTvtimeStations(text) : ParseXawtvStations(text),
                               channelNames);
        if (!presets->empty()) {
            *path = paths[i];
            return B_OK;
        }
    }
    return B_ENTRY_NOT_FOUND;
}
