#pragma once

// Files as instruments write them, with samples that tell where they stand.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#if TZM_WITH_HDF5
#include <hdf5.h>
#include <hdf5_hl.h>
#endif

namespace TZM {

/// Bytes of a file that is being written, little-endian.
struct Bytes : std::string {
    explicit Bytes(std::size_t size = 0) : std::string(size, '\0') {}
    template <class T>
    Bytes& Put(std::size_t at, T value) {
        if (size() < at + sizeof(T)) resize(at + sizeof(T));
        std::memcpy(data() + at, &value, sizeof(T));
        return *this;
    }
    template <class T>
    void Add(T value) {
        Put(size(), value);
    }
};

/// A whole number that tells where a sample stands, within the range of the width.
inline int Value(int bits, int sample, int ascan, int channel) {
    const int value = sample * 31 + ascan * 7 + channel * 1009;
    return bits == 8 ? value % 256 - 128 : bits == 16 ? value % 65536 - 32768 : value * 1000 - 50000000;
}

inline void AddWord(Bytes& file, int bits, bool isUnsigned, int value) {
    if (bits == 8) file.Add(static_cast<std::uint8_t>(value + 128));
    if (bits == 16)
        isUnsigned ? file.Add(static_cast<std::uint16_t>(value + 32768)) : file.Add(static_cast<std::int16_t>(value));
    if (bits == 32) file.Add(static_cast<std::int32_t>(value));
}

inline Bytes Dzt(int samples, int ascans, int channels, int bits, int blocks = 0) {
    Bytes file(static_cast<std::size_t>(1024 * (blocks > 0 ? blocks : channels)));
    file.Put<std::uint16_t>(0, 0x00ff).Put<std::uint16_t>(2, static_cast<std::uint16_t>(blocks > 0 ? blocks : 1024));
    file.Put(4, std::uint16_t(samples)).Put(6, std::uint16_t(bits)).Put(52, std::uint16_t(channels));
    file.Put(14, 50.f).Put(22, -2.f).Put(26, 20.f).Put(54, 6.25f);
    for (int c = 0; c < channels && 1024 * c < int(file.size()); ++c)
        std::memcpy(file.data() + 1024 * c + 98, c == 1 ? "3200" : "400MHz", c == 1 ? 4 : 6);
    for (int a = 0; a < ascans; ++a)
        for (int c = 0; c < channels; ++c)
            for (int s = 0; s < samples; ++s) AddWord(file, bits, bits != 32, Value(bits, s, a, c));
    return file;
}

inline const std::string kHd =
    "0\r\n  Header\r\nNUMBER OF TRACES   = 6\r\nNumber of pts/trc  =  20 \r\nTIMEZERO AT POINT = 3.4\r\n"
    "TOTAL TIME WINDOW=16\r\nSTARTING POSITION = 1\r\nSTEP SIZE USED = 0.5\r\nPOSITION UNITS = ft\r\n"
    "NOMINAL FREQUENCY = 50.000000\r\nANTENNA SEPARATION = 2.0\r\nCOMMENT \xe4\xf6 = \xfc\r\n";

inline Bytes Dt1(int samples, int ascans, int bytes, int bytesTold) {
    Bytes file;
    for (int a = 0; a < ascans; ++a) {
        const std::size_t begin = file.size();
        file.resize(begin + 128);
        file.Put(begin, float(a + 1)).Put(begin + 20, float(bytesTold));
        for (int s = 0; s < samples; ++s)
            bytes == 2 ? file.Add(static_cast<std::int16_t>(Value(16, s, a, 0))) : file.Add(float(Value(16, s, a, 0)));
    }
    return file;
}

inline Bytes Words(int samples, int ascans, int bits) {
    Bytes file;
    for (int a = 0; a < ascans; ++a)
        for (int s = 0; s < samples; ++s) AddWord(file, bits, false, Value(bits, s, a, 0));
    return file;
}

inline Bytes Ogpr(int samples, int slices, int channels, const std::string& type, bool hexadecimal) {
    const std::size_t volume = 2048, word = type == "float" || type.empty() ? 4 : 2;
    const std::size_t bytes = word * std::size_t(samples) * slices * channels;
    const std::string json =
        R"({"version": {"major": 1, "minor": 0}, "mainDescriptor": {"samplesCount": )" + std::to_string(samples) +
        R"(, "channelsCount": )" + std::to_string(channels) + R"(, "slicesCount": )" + std::to_string(slices) +
        R"(, "metadata": {"swathName": "a } \" {"}}, "dataBlockDescriptors": [{"type": "Radar Volume", "byteOffset": 2048,
        "byteSize": )" +
        std::to_string(bytes) + (type.empty() ? "" : R"(, "valueType": ")" + type + "\"") +
        R"(, "radar": {"samplingStep_m": 0.04, "samplingTime_ns": 0.125, "propagationVelocity_mPerSec": 1e8,
        "fequency_MHz": 600}}, {"type": "Sample Geolocations", "byteOffset": )" +
        std::to_string(volume + bytes) + R"(, "byteSize": )" + std::to_string(slices * channels * 4 * 8) +
        R"(, "srs": {"type": "EPSG", "value": 32632}}]})";
    char size[16];
    std::snprintf(size, sizeof size, hexadecimal ? "%08zx" : "%zu", json.size());
    Bytes file;
    file += "ogpr\n0123456789abcdef0123456789abcdef\n" + std::string(size) + "\n" + json;
    file.resize(volume, ' ');
    for (int a = 0; a < slices; ++a)
        for (int c = 0; c < channels; ++c)
            for (int s = 0; s < samples; ++s)
                word == 4 ? file.Add(float(Value(16, s, a, c)))
                          : file.Add(static_cast<std::int16_t>(Value(16, s, a, c)));
    for (int a = 0; a < slices; ++a)
        for (int c = 0; c < channels; ++c)
            for (const double number : {500000. + a, 5000000. + c, 120., 7.}) file.Add(number);
    return file;
}

/// The 32 bits of a number in base 16: sign, exponent from 64 on, fraction of 24 bits.
inline std::uint32_t Ibm(double value) {
    if (value == 0) return 0;
    int exponent = 64;
    double fraction = std::abs(value);
    for (; fraction >= 1; fraction /= 16) ++exponent;
    for (; fraction < 1. / 16; fraction *= 16) --exponent;
    return (value < 0 ? 0x80000000u : 0u) | static_cast<std::uint32_t>(exponent) << 24 |
           static_cast<std::uint32_t>(fraction * 0x1000000);
}

/// Lines of unequal length: 4, 3, ... A-scans. \param format of the samples
inline Bytes Segy(int samples, int lines, int format, bool bigEndian) {
    Bytes file(3600);
    file[0] = 'C';
    const auto put = [&](std::size_t at, auto value) {
        char* bytes = reinterpret_cast<char*>(&value);
        if (bigEndian) std::reverse(bytes, bytes + sizeof value);
        file.Put(at, value);
    };
    put(3216, std::uint16_t{40000});
    put(3220, std::uint16_t(samples));
    put(3224, std::uint16_t(format));
    for (int z = 0; z < lines; ++z)
        for (int a = 0; a < 4 - z; ++a) {
            const std::size_t at = file.size();
            file.resize(at + 240);
            put(at + 70, std::int16_t{-100});
            put(at + 72, std::int32_t{500000 + 50 * a});
            put(at + 76, std::int32_t{100 * (z + 1)});
            put(at + 114, std::uint16_t(samples));
            put(at + 188, std::int32_t{7 + z});
            for (int s = 0; s < samples; ++s) {
                const int value = Value(format == 8 ? 8 : 16, s, a, z);
                if (format == 1) put(file.size(), Ibm(value));
                if (format == 2) put(file.size(), std::int32_t{value});
                if (format == 3) put(file.size(), std::int16_t(value));
                if (format == 5) put(file.size(), float(value));
                if (format == 8) put(file.size(), std::int8_t(value));
            }
        }
    return file;
}

#if TZM_WITH_HDF5
/// A model: (30) samples, or (30, 5 A-scans), of each receiver and two components.
inline void WriteModel(const std::filesystem::path& to, int rank, int receivers, double dt) {
    const hid_t file = H5Fcreate(to.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const double cell[] = {0.002, 0.002, 0.002};
    const int steps[] = {10, 0, 0};
    H5LTset_attribute_double(file, "/", "dt", &dt, 1);
    H5LTset_attribute_double(file, "/", "dx_dy_dz", cell, 3);
    H5LTset_attribute_int(file, "/", "rxsteps", steps, 3);
    H5Gclose(H5Gcreate2(file, "rxs", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    for (int rx = 1; rx <= receivers; ++rx) {
        const std::string group = "rxs/rx" + std::to_string(rx);
        H5Gclose(H5Gcreate2(file, group.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        std::vector<double> values;
        const int ascans = rank == 2 ? 5 : 1;
        for (int s = 0; s < 30; ++s)
            for (int a = 0; a < ascans; ++a) values.push_back(Value(16, s, a, rx - 1));
        const hsize_t shape[] = {30, hsize_t(ascans)};
        for (const char* component : {"Ez", "Hx"})
            H5LTmake_dataset_double(file, (group + "/" + component).c_str(), rank, shape, values.data());
    }
    H5Fclose(file);
}
#endif

} // namespace TZM
