#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace tarvex::cli {
namespace {

constexpr auto kDelay = std::chrono::seconds(1);
constexpr auto kTick = std::chrono::milliseconds(250);

} // namespace

Progress::Progress(bool enabled) : enabled(enabled) {
    if (enabled) ticker = std::thread([this] { Run(); });
}

Progress::~Progress() {
    if (!enabled) return;
    Done();
    {
        std::lock_guard lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    ticker.join();
}

bool Progress::StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

void Progress::Step(const std::string& what) {
    if (!enabled) return;
    std::lock_guard lock(mutex);
    step = what;
    started = std::chrono::steady_clock::now();
    active = true;
    wake.notify_all();
}

void Progress::Done() {
    if (!enabled) return;
    std::lock_guard lock(mutex);
    active = false;
    if (shown) {
        // Erase the line so that what follows starts clean.
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        shown = false;
    }
}

void Progress::Run() {
    static const char kSpinner[] = "|/-\\";
    unsigned turn = 0;
    std::unique_lock lock(mutex);
    while (!stopping) {
        if (!active) {
            wake.wait(lock, [this] { return active || stopping; });
            continue;
        }
        auto elapsed = std::chrono::steady_clock::now() - started;
        if (elapsed >= kDelay) {
            double seconds = std::chrono::duration<double>(elapsed).count();
            std::fprintf(stderr, "\r\033[K%c %s... %.0f s", kSpinner[turn++ % 4], step.c_str(),
                         seconds);
            std::fflush(stderr);
            shown = true;
        }
        wake.wait_for(lock, kTick);
    }
}

} // namespace tarvex::cli
