// Runs the built command-line host and collects what it printed.
#pragma once
#include <string>
#include <vector>

namespace clitest {

struct RunResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the program with `args`, standard input from /dev/null.
RunResult RunCli(const std::vector<std::string>& args);
// Runs any program by path.
RunResult RunProgram(const std::string& program, const std::vector<std::string>& args);

std::string ExampleFile(const std::string& name);
// A fresh folder for one test's files.
std::string ScratchDir();
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

} // namespace clitest
