#include "OutputFolder.h"

#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

namespace tzmchain {

using namespace TZM;

namespace fs = std::filesystem;

namespace {

std::mutex openMutex;
std::set<fs::path> openFolders; // temporary folders that exist

/// Takes the folder away from those who still write into it, then removes it.
void Remove(const fs::path& folder) {
    std::error_code ignored;
    fs::path gone = folder;
    gone += ".gone";
    fs::rename(folder, gone, ignored);
    fs::remove_all(gone, ignored);
    fs::remove_all(folder, ignored);
}

/// The nearest folder above `path` that exists.
fs::path ExistingParent(fs::path path) {
    do path = path.parent_path();
    while (!path.empty() && !fs::exists(path));
    return path;
}

/// What the recipe of an earlier run says that it wrote; nothing if there is none.
std::vector<std::string> FilesOfEarlierRun(const fs::path& folder) {
    std::vector<std::string> files;
    try {
        const Json::Value recipe = ParseJson(ReadText(folder / "recipe.json"), "recipe.json");
        if (recipe.isObject() && recipe["program"] == "tzmchain" && recipe["outputs"].isArray())
            for (const Json::Value& name : recipe["outputs"])
                if (name.isString() && fs::path(name.asString()).filename() == name.asString())
                    files.push_back(name.asString());
    } catch (const Refusal&) { // then nothing in the folder is known to be of a run
    }
    return files;
}

} // namespace

OutputFolder::OutputFolder(const fs::path& wanted) {
    try {
        target = fs::weakly_canonical(fs::absolute(wanted));
        if (!target.has_filename()) target = target.parent_path(); // "name/"
        const bool exists = fs::exists(target);
        if (exists && !fs::is_directory(target)) throw Refusal(wanted.string() + " exists and isn't a folder");
        if (exists) earlier = FilesOfEarlierRun(target);
        std::string name = ((exists ? target : ExistingParent(target)) / ".tzmchain-XXXXXX").string();
        const std::lock_guard lock(openMutex);
        if (!mkdtemp(name.data())) throw Refusal("can't write into " + fs::path(name).parent_path().string());
        temporary = name;
        openFolders.insert(temporary);
        const mode_t mask = umask(0); // mkdtemp gives 0700; there is no other way to ask for the mask
        umask(mask);
        fs::permissions(temporary, fs::perms::all & ~fs::perms(mask));
    } catch (const fs::filesystem_error& error) {
        throw Refusal("can't use " + wanted.string() + " for the output: " + error.code().message());
    }
}

OutputFolder::~OutputFolder() {
    const std::lock_guard lock(openMutex);
    if (openFolders.erase(temporary)) Remove(temporary);
}

void OutputFolder::Claim(const std::string& name, const std::vector<fs::path>& inputs) const {
    const fs::path file = target / name;
    std::error_code ignored;
    if (!fs::exists(fs::symlink_status(file))) return;
    for (const fs::path& input : inputs)
        if (fs::equivalent(file, input, ignored))
            throw Refusal("the input " + input.string() + " would be replaced; choose another output folder");
    if (!fs::is_regular_file(fs::symlink_status(file)) ||
        std::find(earlier.begin(), earlier.end(), name) == earlier.end())
        throw Refusal(file.string() + " exists and isn't of an earlier run; choose another output folder");
}

void OutputFolder::Commit() {
    try {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(temporary)) names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
            return std::pair(a == "recipe.json", a) < std::pair(b == "recipe.json", b);
        });
        for (const std::string& name : names) Claim(name);
        const std::lock_guard lock(openMutex);
        if (!fs::exists(target)) {
            fs::create_directories(target.parent_path());
            fs::rename(temporary, target);
        } else {
            for (const std::string& name : names) fs::rename(temporary / name, target / name);
            for (const std::string& name : earlier)
                if (fs::path(name).extension() == ".png" && !std::count(names.begin(), names.end(), name))
                    fs::remove(target / name);
            fs::remove(temporary);
        }
        openFolders.erase(temporary);
    } catch (const fs::filesystem_error& error) {
        throw Refusal("can't write into " + target.string() + ": " + error.code().message());
    }
}

void OutputFolder::CleanUpOnSignals() {
    static sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    std::signal(SIGXFSZ, SIG_IGN);                 // a file that may not grow is a full disk
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // threads started later inherit it
    std::thread([] {
        int signal = 0;
        sigwait(&signals, &signal);
        const std::lock_guard lock(openMutex);
        for (const fs::path& folder : openFolders) Remove(folder);
        const std::string line = std::string(isatty(STDERR_FILENO) ? "\r\033[K" : "") +
                                 (signal == SIGINT ? "tzmchain: interrupted\n" : "tzmchain: ended by a signal\n");
        (void)!write(STDERR_FILENO, line.data(), line.size()); // to whoever may be there
        _exit(128 + signal);
    }).detach();
}

} // namespace tzmchain
