#include "Progress.h"

#include "Text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tzmchain {

namespace {

constexpr double kPatience = 2; // seconds without a bar
constexpr char kEraseLine[] = "\r\033[K";

double Seconds(std::chrono::steady_clock::duration time) { return std::chrono::duration<double>(time).count(); }

std::string Duration(double seconds) {
    const auto whole = std::lround(seconds);
    return whole < 120 ? std::to_string(whole) + " s" : std::to_string((whole + 30) / 60) + " min";
}

} // namespace

Estimate EstimateRest(double doneCost, double doneSeconds, double cost, double elapsed, double planned, double share) {
    if (!(planned > 0) || !(doneCost > 0)) return {0, -1};
    const double secondsPerCost = doneSeconds / doneCost;
    // A task that takes longer than thought never counts as done, and its rest isn't below a twentieth of it.
    const double byTime = secondsPerCost > 0 ? elapsed / secondsPerCost : 0;
    const double spent = std::min(std::max(byTime, share * cost), 0.95 * cost);
    return {(doneCost + spent) / planned, (planned - doneCost - spent) * secondsPerCost};
}

Progress::Progress(bool silent, bool terminal) : quiet(silent), interactive(terminal && !silent) {}

void Progress::Plan(const std::string& name, double cost) {
    const std::lock_guard lock(mutex);
    tasks.push_back({name, cost});
    planned += cost;
}

double Progress::Do(const std::string& name, const std::string& detail, const std::function<void()>& task) {
    const Clock::time_point begin = Clock::now();
    told = 0;
    std::condition_variable ended;
    bool stop = false;
    std::thread drawer;
    if (interactive)
        drawer = std::thread([&] {
            std::unique_lock lock(mutex);
            while (!ended.wait_for(lock, std::chrono::milliseconds(250), [&] { return stop; })) DrawBar(begin);
        });
    const auto endDrawing = [&] {
        if (!interactive) return;
        {
            const std::lock_guard lock(mutex);
            stop = true;
        }
        ended.notify_one();
        drawer.join();
        std::fputs(kEraseLine, stderr);
    };
    try {
        task();
    } catch (...) {
        endDrawing();
        throw;
    }
    endDrawing();

    const double seconds = Seconds(Clock::now() - begin);
    if (done < tasks.size()) doneCost += tasks[done].cost;
    doneSeconds += seconds;
    ++done;
    char line[256];
    std::snprintf(line, sizeof line, "[%zu/%zu] %-18s %-34s %8.2f s", done, std::max(done, tasks.size()), name.c_str(),
                  detail.c_str(), seconds);
    Note(line);
    return seconds;
}

void Progress::Note(const std::string& line) {
    if (quiet) return;
    const std::lock_guard lock(mutex);
    Print(line);
}

void Progress::Print(const std::string& line) {
    if (interactive) std::fputs(kEraseLine, stderr);
    std::fprintf(stderr, "%s\n", line.c_str());
}

void Progress::DrawBar(Clock::time_point taskBegin) {
    const double elapsed = Seconds(Clock::now() - taskBegin);
    if (doneSeconds + elapsed < kPatience || done >= tasks.size()) return;
    const Task& task = tasks[done];
    const Estimate rest = EstimateRest(doneCost, doneSeconds, task.cost, elapsed, planned, told);
    constexpr int kWidth = 32;
    const int filled = static_cast<int>(rest.share * kWidth);
    const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
    const std::string left = rest.secondsLeft < 0 ? "" : ", about " + Duration(rest.secondsLeft) + " left";
    std::fprintf(stderr, "%s[%s] %3d %%  %s%s", kEraseLine, bar.c_str(), static_cast<int>(100 * rest.share),
                 task.name.c_str(), left.c_str());
    std::fflush(stderr);
}

} // namespace tzmchain
