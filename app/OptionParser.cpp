// Walks a command line against the table of options (CommandLine.cpp). The rules are in
// CommandLine.h.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "app/CommandLine.h"

namespace {

const Option* findOption(const std::string& name) {
    for (const Option& option : commandLineOptions()) {
        if (name == option.name)
            return &option;
    }
    return nullptr;
}

const Option* findShortOption(char shortName) {
    for (const Option& option : commandLineOptions()) {
        if (option.shortName != 0 && option.shortName == shortName)
            return &option;
    }
    return nullptr;
}

// Edits (insert, delete, replace, swap two neighbours) that turn `a` into `b`.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); i++)
        d[i][0] = i;
    for (size_t j = 0; j <= b.size(); j++)
        d[0][j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    }
    return d[a.size()][b.size()];
}

std::string withoutDashes(const std::string& name) {
    const size_t start = name.find_first_not_of('-');
    return start == std::string::npos ? std::string() : name.substr(start);
}

bool isDigits(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Whether the argument after an option that wants a value can be that value: anything but
// another option. "-" is taken, so that a FILE can refuse it by name.
bool canBeValue(const char* argument) {
    return argument[0] != '-' || std::strcmp(argument, "-") == 0;
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

std::string unknownOption(const std::string& argument) {
    std::string message = "unknown option " + quoted(argument);
    const std::string nearest = nearestOption(argument.substr(0, argument.find('=')));
    if (!nearest.empty())
        message += "; did you mean " + nearest + "?";
    return message + " (see tavro --help)";
}

// The problem with `value` for `option`, or empty when it is usable.
std::string checkFileValue(const Option& option, const std::string& value) {
    if (option.value == nullptr || std::strcmp(option.value, "FILE") != 0)
        return {};
    if (value.empty())
        return std::string(option.name) + " needs a file name";
    if (value == "-")
        return std::string(option.name) +
               " needs a file name: '-' (standard input or output) cannot be used; for a file "
               "named '-' write ./-";
    return {};
}

}  // namespace

bool parseDuration(const char* text, double* seconds) {
    std::vector<std::string> parts;
    std::string rest = text;
    for (size_t colon = rest.find(':'); colon != std::string::npos; colon = rest.find(':')) {
        parts.push_back(rest.substr(0, colon));
        rest = rest.substr(colon + 1);
    }
    parts.push_back(rest);
    constexpr double kLongest = 1e7;  // 115 days
    if (parts.size() == 1) {
        char* end = nullptr;
        const double parsed = std::strtod(text, &end);
        const bool startsWithNumber = (text[0] >= '0' && text[0] <= '9') || text[0] == '.';
        if (!startsWithNumber || end == text || *end != '\0' ||
            !(parsed >= 0 && parsed <= kLongest))
            return false;
        *seconds = parsed;
        return true;
    }
    if (parts.size() > 3)
        return false;
    double total = 0;
    for (size_t i = 0; i < parts.size(); i++) {
        if (!isDigits(parts[i]) || parts[i].size() > 9)
            return false;
        const double value = std::atof(parts[i].c_str());
        // Only the leading field may pass 59: "90:00" is ninety minutes.
        if (i > 0 && value > 59)
            return false;
        total = total * 60 + value;
    }
    if (total > kLongest)
        return false;
    *seconds = total;
    return true;
}

std::string nearestOption(const std::string& unknown) {
    const std::string wanted = withoutDashes(unknown);
    if (wanted.empty())
        return {};
    auto spelling = [](const Option& option) {
        return option.replacedBy != nullptr ? option.replacedBy : option.name;
    };
    // A beginning that only one option has ("--dur").
    const Option* prefixOf = nullptr;
    int prefixCount = 0;
    for (const Option& option : commandLineOptions()) {
        if (wanted.size() >= 3 && withoutDashes(option.name).rfind(wanted, 0) == 0 &&
            (prefixOf == nullptr || spelling(*prefixOf) != std::string(spelling(option)))) {
            prefixOf = &option;
            prefixCount++;
        }
    }
    if (prefixCount == 1)
        return spelling(*prefixOf);

    const Option* nearest = nullptr;
    size_t best = SIZE_MAX;
    for (const Option& option : commandLineOptions()) {
        const size_t distance = editDistance(wanted, withoutDashes(option.name));
        if (distance < best) {
            best = distance;
            nearest = &option;
        }
    }
    // A typo is a few letters of the name, not a different word.
    const size_t allowed = std::max<size_t>(1, wanted.size() / 4);
    if (nearest == nullptr || best > allowed)
        return {};
    return spelling(*nearest);
}

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
    ParsedCommandLine result;
    std::vector<std::string> operands;
    bool optionsEnded = false;
    bool commandValueMissing = false;
    auto fail = [&result](const std::string& message) {
        result.error = message;
        return result;
    };

    for (int i = 1; i < argc; i++) {
        const std::string argument = argv[i];
        if (optionsEnded || argument.empty() || argument[0] != '-' || argument == "-") {
            operands.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }

        const Option* option = nullptr;
        bool hasInlineValue = false;
        std::string value;
        if (argument[1] == '-') {
            const size_t equals = argument.find('=');
            option = findOption(argument.substr(0, equals));
            if (equals != std::string::npos) {
                hasInlineValue = true;
                value = argument.substr(equals + 1);
            }
        } else if (argument.size() == 2) {
            option = findShortOption(argument[1]);
        }
        if (option == nullptr)
            return fail(unknownOption(argument));
        if (option->replacedBy != nullptr) {
            result.notes.push_back(std::string(option->name) + " is an old name of " +
                                   option->replacedBy + "; use " + option->replacedBy);
            option = findOption(option->replacedBy);
        }

        bool hasValue = hasInlineValue;
        if (option->value == nullptr) {
            if (hasInlineValue)
                return fail(std::string(option->name) + " takes no value");
        } else if (!hasInlineValue && i + 1 < argc && canBeValue(argv[i + 1])) {
            value = argv[++i];
            hasValue = true;
        } else if (!hasInlineValue && !option->run) {
            return fail(std::string(option->name) + " needs a value: " + option->value);
        }
        if (hasValue) {
            if (std::string problem = checkFileValue(*option, value); !problem.empty())
                return fail(problem);
        }

        if (option->run) {
            if (result.command != nullptr && result.command != option) {
                return fail(std::string(result.command->name) + " and " + option->name +
                            " cannot go together (one command at a time)");
            }
            result.command = option;
            result.options.commandValue = value;
            // A FILE after "--" or after the other options ("--record -- -odd.avi").
            commandValueMissing = option->value != nullptr && !hasValue;
        } else {
            std::string problem;
            if (!option->set(&result.options, hasValue ? value.c_str() : nullptr, &problem)) {
                return fail("bad value " + quoted(value) + " for " + option->name + ": expected " +
                            problem);
            }
        }
    }

    if (commandValueMissing) {
        if (operands.empty()) {
            return fail(std::string(result.command->name) +
                        " needs a value: " + result.command->value);
        }
        result.options.commandValue = operands.front();
        operands.erase(operands.begin());
        if (std::string problem = checkFileValue(*result.command, result.options.commandValue);
            !problem.empty())
            return fail(problem);
    }
    if (result.command != nullptr && result.command->operand != nullptr) {
        if (operands.empty()) {
            return fail(std::string(result.command->name) + " needs " + result.command->value +
                        " " + result.command->operand);
        }
        result.options.commandOperand = operands.front();
        operands.erase(operands.begin());
    }
    if (!operands.empty()) {
        std::string message = "unexpected argument " + quoted(operands.front());
        if (result.command == nullptr)
            message += " (to record into a file: tavro --record FILE)";
        return fail(message);
    }
    return result;
}
