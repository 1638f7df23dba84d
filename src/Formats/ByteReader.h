#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <type_traits>

#include "Recording/Refusal.h"

namespace TZM {

/// A number of a file's header, and where it stands. Whatever isn't as expected is a FormatError that tells both.
template <class T>
struct HeaderField {
    T value;
    std::string place; ///< "NAME.DZT, byte 4"

    operator T() const { return value; }

    T Between(T low, T high, const char* what) const {
        if (value >= low && value <= high) return value; // not so for a NaN
        throw FormatError(place + ": " + Told(value) + " " + what + "; " + Told(low) + " to " + Told(high) +
                          " are expected");
    }

    T OneOf(std::initializer_list<T> known, const char* what) const {
        std::string list;
        for (const T& one : known) {
            if (value == one) return value;
            list += (list.empty() ? "" : ", ") + Told(one);
        }
        throw FormatError(place + ": " + Told(value) + " " + what + "; one of " + list + " is expected");
    }

private:
    static std::string Told(T number) {
        std::string text = std::to_string(number);
        if constexpr (std::is_floating_point_v<T>)
            if (text.find('.') != std::string::npos)
                text.erase(std::max(text.find_last_not_of('0'), text.find('.') + 1) + 1);
        return text;
    }
};

/// Numbers at their places in a file, little-endian unless told otherwise. Every offset is checked against the size
/// that the file had when it was opened.
class ByteReader {
public:
    /// FormatError if the file can't be read.
    explicit ByteReader(const std::filesystem::path& file);
    ~ByteReader();
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    const std::filesystem::path& File() const { return file; }
    std::int64_t Size() const { return size; }
    /// Gives the system's handle back until something is read again: a survey may have more files than a process
    /// handles.
    void Close();
    void BigEndian(bool on = true) { bigEndian = on; }

    HeaderField<std::uint16_t> U16(std::int64_t offset) const { return Number<std::uint16_t>(offset); }
    HeaderField<std::int16_t> I16(std::int64_t offset) const { return Number<std::int16_t>(offset); }
    HeaderField<std::int32_t> I32(std::int64_t offset) const { return Number<std::int32_t>(offset); }
    HeaderField<float> F32(std::int64_t offset) const { return Number<float>(offset); }
    HeaderField<double> F64(std::int64_t offset) const { return Number<double>(offset); }

    /// Characters up to the first NUL, as a line of printable ones.
    std::string Text(std::int64_t offset, std::int64_t length) const;

    /// `bytes` bytes from `offset` on. FormatError if the file ends ahead of them.
    void Read(std::int64_t offset, std::int64_t bytes, void* to) const;

private:
    template <class T>
    HeaderField<T> Number(std::int64_t offset) const {
        unsigned char bytes[sizeof(T)];
        Read(offset, sizeof(T), bytes);
        if (bigEndian)
            for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
        HeaderField<T> field{{}, file.string() + ", byte " + std::to_string(offset)};
        std::memcpy(&field.value, bytes, sizeof(T));
        return field;
    }

    std::filesystem::path file;
    mutable int descriptor;
    std::int64_t size;
    bool bigEndian = false;
};

} // namespace TZM
