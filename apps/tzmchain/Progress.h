#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tzmchain {

/// Tells on the terminal how the work goes on: a line for every task that is done and, on a terminal and after the
/// first two seconds, a bar with the time left below them.
class Progress {
public:
    /// Silent if `quiet`. The bar needs `interactive`.
    Progress(bool quiet, bool interactive);
    ~Progress() { Abandon(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Announces a task that will come, also from inside another one; `cost` is its expected time relative to the other
    /// tasks.
    void Plan(const std::string& name, double cost);

    /// Begins the next task of the plan; ends it, prints its line and gives its seconds; or ends it without a word.
    void Begin(const std::string& name);
    double End(const std::string& detail);
    void Abandon();

    /// Does all of it. What `task` throws passes through.
    double Do(const std::string& name, const std::string& detail, const std::function<void()>& task);

    /// Tells how much of the task that is being done is done, 0 to 1; without it the bar goes by time.
    void Share(double share) { told = share; }

    /// Prints a line above the bar.
    void Note(const std::string& line);

private:
    using Clock = std::chrono::steady_clock;
    struct Task {
        std::string name;
        double cost;
    };

    void DrawBar();
    void EndDrawing();
    void Print(const std::string& line);

    const bool quiet, interactive;
    std::vector<Task> tasks;
    std::size_t done = 0;
    double doneCost = 0, doneSeconds = 0, planned = 0;
    std::atomic<double> told{0};
    std::string current; // name of the task that is being done
    Clock::time_point begin;
    std::thread drawer;
    std::condition_variable ended;
    bool stop = false;
    std::mutex mutex; // of the terminal and of what the bar shows
};

/// Share of the work that is done and seconds that are left, `elapsed` seconds into a task of `cost` that tells a
/// `share`, when tasks of `doneCost` took `doneSeconds` and all tasks together cost `planned`.
struct Estimate {
    double share;
    double secondsLeft; ///< below 0 if there is nothing to go by yet
};
Estimate EstimateRest(double doneCost, double doneSeconds, double cost, double elapsed, double planned,
                      double share = 0);

} // namespace tzmchain
