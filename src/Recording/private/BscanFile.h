#pragma once

#include <filesystem>

#include "Recording/Recording.h"

namespace TZM {

/// A file that holds B-scans of one size from some byte on, to be read and written in any order, also by two threads at
/// different places.
class TZM_EXPORT BscanFile {
public:
    /// A new file; one of that name is replaced. Refusal if it can't be made.
    explicit BscanFile(const std::filesystem::path& file);
    /// A file without a name in that folder, which goes with its owner. \param folder empty: that of temporary files
    static BscanFile Nameless(const std::filesystem::path& folder);
    BscanFile(BscanFile&& other) noexcept;
    ~BscanFile();

    /// Writes the head, and tells what follows.
    void Begin(const void* head, std::size_t bytes, const Dimensions& size);
    /// Refusal, with the system's reason, if that fails: on a full disk, for one.
    void Write(int firstBscan, int bscans, const float* samples);
    void Read(int firstBscan, int bscans, float* samples) const;
    /// Writes the tail behind the last B-scan, and closes the file.
    void End(const void* tail, std::size_t bytes);
    /// Gives the disk back what the B-scans ahead of one take, where the file system can.
    void Forget(int bscan);

private:
    BscanFile(std::filesystem::path file, int descriptor);
    template <class Function>
    void Transfer(std::int64_t at, std::int64_t bytes, Function transfer) const;

    std::filesystem::path path;
    int descriptor;
    std::int64_t begin = 0, bscan = 0; // bytes
    int bscanCount = 0;
};

} // namespace TZM
