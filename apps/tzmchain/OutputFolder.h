#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tzmchain {

/// Where a run puts its files: all of them or none. They are written into a hidden temporary folder beside (or, where
/// the folder exists, within) the wanted one, and moved when all is done. In an existing folder only files that the
/// recipe.json of an earlier run lists are replaced, and pictures that it lists and the new run lacks are removed.
class OutputFolder {
public:
    /// Makes the temporary folder. Refusal if the folder can't be made or written.
    explicit OutputFolder(const std::filesystem::path& wanted);
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// Where to write to.
    const std::filesystem::path& Path() const { return temporary; }

    /// Refusal if a file of this name exists in the wanted folder and isn't of an earlier run, or is one of the inputs.
    void Claim(const std::string& name, const std::vector<std::filesystem::path>& inputs = {}) const;

    /// Moves all files into place, recipe.json last. Refusal, with the wanted folder as it was, if one can't be
    /// claimed.
    void Commit();

    /// Removes the temporary folders of all objects when the process is told to stop, and ends it then. To be called
    /// once, before any other thread is started.
    static void CleanUpOnSignals();

private:
    std::filesystem::path target;
    std::filesystem::path temporary;
    std::vector<std::string> earlier; // files of an earlier run
};

} // namespace tzmchain
