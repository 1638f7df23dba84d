#include "Progress.h"

#include "Recording/private/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tzmchain {

using namespace TZM;

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
    // A task that tells its share counts as far as that goes: it may be all that there is.
    const double toldCost = doneCost + share * cost;
    if (!(planned > 0) || !(toldCost > 0)) return {0, -1};
    const double secondsPerCost = (doneSeconds + (share > 0 ? elapsed : 0)) / toldCost;
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

void Progress::Begin(const std::string& name) {
    current = name;
    told = 0;
    stop = false;
    begin = Clock::now();
    if (!interactive) return;
    drawer = std::thread([this] {
        std::unique_lock lock(mutex);
        while (!ended.wait_for(lock, std::chrono::milliseconds(250), [this] { return stop; })) DrawBar();
    });
}

void Progress::EndDrawing() {
    if (!drawer.joinable()) return;
    {
        const std::lock_guard lock(mutex);
        stop = true;
    }
    ended.notify_one();
    drawer.join();
    std::fputs(kEraseLine, stderr);
}

double Progress::End(const std::string& detail) {
    EndDrawing();
    const double seconds = Seconds(Clock::now() - begin);
    if (done < tasks.size()) doneCost += tasks[done].cost;
    doneSeconds += seconds;
    ++done;
    char line[256];
    std::snprintf(line, sizeof line, "[%zu/%zu] %-18s %-34s %8.2f s", done, std::max(done, tasks.size()),
                  current.c_str(), detail.c_str(), seconds);
    Note(line);
    return seconds;
}

void Progress::Abandon() { EndDrawing(); }

double Progress::Do(const std::string& name, const std::string& detail, const std::function<void()>& task) {
    Begin(name);
    try {
        task();
    } catch (...) {
        Abandon();
        throw;
    }
    return End(detail);
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

void Progress::DrawBar() {
    const double elapsed = Seconds(Clock::now() - begin);
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
