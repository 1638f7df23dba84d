#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace TZM {

/// A header of lines "NAME = value" or "NAME: value". Names are taken without regard to case and blanks, of equal names
/// the first one; lines of another form are passed over, line ends of any kind and UTF-8 as well as Latin-1 are taken.
class TextHeader {
public:
    /// \param separator between name and value. FormatError if the file can't be read or has more than a MiB.
    TextHeader(const std::filesystem::path& file, char separator);

    const std::filesystem::path& File() const { return file; }

    /// The value of a line; nothing if there is none, or an empty one.
    std::optional<std::string> Text(const std::string& name) const;

    /// The number that a value begins with, with a point or a comma ahead of its fraction; nothing if there is no such
    /// line. FormatError if it isn't a number.
    std::optional<double> Number(const std::string& name) const;
    /// The same, if it is above 0.
    std::optional<double> Positive(const std::string& name) const;

    // FormatError if there is no such line or its number isn't in the range.
    int Count(const std::string& name, int low, int high) const;
    double RequiredPositive(const std::string& name) const;

private:
    std::filesystem::path file;
    std::map<std::string, std::string> values;
};

/// Whether a file's name ends so, in whatever case. \param extension in lower case
bool HasExtension(const std::filesystem::path& file, const std::string& extension);

/// The file beside `file` with another extension (".hd"), in whatever case its name is written; empty if there is none.
std::filesystem::path Partner(const std::filesystem::path& file, const std::string& extension);

/// The same. FormatError that names it if there is none. \param what "the header of NAME.DT1"
std::filesystem::path RequiredPartner(const std::filesystem::path& file, const std::string& extension);

} // namespace TZM
