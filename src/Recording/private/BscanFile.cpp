#include "Recording/private/BscanFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Recording/private/Text.h"

namespace TZM {

BscanFile::BscanFile(std::filesystem::path file, int opened) : path(std::move(file)), descriptor(opened) {
    if (descriptor < 0) throw CantWrite(path);
}

BscanFile::BscanFile(const std::filesystem::path& file)
    : BscanFile(file, (errno = 0, open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))) {}

BscanFile BscanFile::Nameless(const std::filesystem::path& folder) {
    const std::filesystem::path place = folder.empty() ? std::filesystem::temp_directory_path() : folder;
    std::string name = (place / ".tzm-scratch-XXXXXX").string();
    errno = 0;
    BscanFile file(place, mkostemp(name.data(), O_CLOEXEC));
    unlink(name.c_str());
    return file;
}

BscanFile::BscanFile(BscanFile&& other) noexcept
    : path(std::move(other.path)), descriptor(std::exchange(other.descriptor, -1)), begin(other.begin),
      bscan(other.bscan), bscanCount(other.bscanCount) {}

BscanFile::~BscanFile() {
    if (descriptor >= 0) close(descriptor);
}

template <class Function>
void BscanFile::Transfer(std::int64_t at, std::int64_t bytes, Function transfer) const {
    for (std::int64_t done = 0; done < bytes;) {
        errno = 0;
        const ssize_t now = transfer(done, static_cast<std::size_t>(bytes - done), at + done);
        if (now <= 0 && errno != EINTR) throw CantWrite(path);
        done += std::max<ssize_t>(now, 0);
    }
}

void BscanFile::Begin(const void* head, std::size_t bytes, const Dimensions& size) {
    begin = static_cast<std::int64_t>(bytes);
    bscan = std::int64_t{size.samples} * size.ascans * std::int64_t{sizeof(float)};
    bscanCount = size.bscans;
    Transfer(0, begin, [&](std::int64_t done, std::size_t count, std::int64_t at) {
        return pwrite(descriptor, static_cast<const char*>(head) + done, count, at);
    });
}

void BscanFile::Write(int firstBscan, int bscans, const float* samples) {
    Transfer(begin + bscan * firstBscan, bscan * bscans, [&](std::int64_t done, std::size_t count, std::int64_t at) {
        return pwrite(descriptor, reinterpret_cast<const char*>(samples) + done, count, at);
    });
}

void BscanFile::Read(int firstBscan, int bscans, float* samples) const {
    Transfer(begin + bscan * firstBscan, bscan * bscans, [&](std::int64_t done, std::size_t count, std::int64_t at) {
        return pread(descriptor, reinterpret_cast<char*>(samples) + done, count, at);
    });
}

void BscanFile::End(const void* tail, std::size_t bytes) {
    Transfer(begin + bscan * bscanCount, static_cast<std::int64_t>(bytes),
             [&](std::int64_t done, std::size_t count, std::int64_t at) {
                 return pwrite(descriptor, static_cast<const char*>(tail) + done, count, at);
             });
    errno = 0;
    if (close(std::exchange(descriptor, -1)) != 0) throw CantWrite(path);
}

void BscanFile::Forget(int bscanEnd) {
    fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, begin + bscan * bscanEnd);
}

} // namespace TZM
