// A progress line on standard error for steps that run long.
//
// The library's calls block without reporting how far they are, so the
// line shows what is being done and for how long. It appears only when
// standard error is a terminal and a step has run for a second, and is
// erased when the step ends, so short runs and redirected output stay
// clean.
#pragma once
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tarvex::cli {

class Progress {
public:
    // `enabled` false makes every call a no-op (for --quiet and pipes).
    explicit Progress(bool enabled);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Starts a step, ending the one before.
    void Step(const std::string& what);
    // Ends the current step and erases the line.
    void Done();

    static bool StandardErrorIsTerminal();

private:
    void Run();

    const bool enabled;
    std::mutex mutex;
    std::condition_variable wake;
    std::thread ticker;
    std::string step;
    std::chrono::steady_clock::time_point started;
    bool active = false;
    bool shown = false;
    bool stopping = false;
};

} // namespace tarvex::cli
