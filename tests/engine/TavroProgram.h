#pragma once
// The real tavro program run by the tests of its commands: what it printed on standard output
// and standard error, and its exit status. TAVRO_BINARY names the program.

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/media/file/MovieReader.h"

struct Outcome {
    int exitStatus = -1;
    std::string out;
    std::string err;
};

// The file's content; the file is removed.
inline std::string takeFile(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    std::remove(path.c_str());
    return text.str();
}

// Runs tavro with `arguments` through the shell, behind `prefix` (a command such as timeout
// that runs it); what it printed and its exit status.
inline Outcome tavro(const std::vector<std::string>& arguments, const std::string& prefix = "") {
    const std::string out = temporaryPath("out"), err = temporaryPath("err");
    std::string command = prefix + " '" + TAVRO_BINARY + "'";
    for (const std::string& argument : arguments)
        command += " '" + argument + "'";
    const int status = std::system((command + " >'" + out + "' 2>'" + err + "'").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, takeFile(out), takeFile(err)};
}
