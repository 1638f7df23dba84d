#include "Checksum.h"

#include "Refusal.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

namespace tzmchain {

namespace {

constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t Rotate(std::uint32_t x, int n) { return x >> n | x << (32 - n); }

} // namespace

void Sha256::Block(const unsigned char* block) {
    std::uint32_t w[64];
    for (int i = 0; i < 16; ++i)
        w[i] = std::uint32_t{block[4 * i]} << 24 | std::uint32_t{block[4 * i + 1]} << 16 |
               std::uint32_t{block[4 * i + 2]} << 8 | std::uint32_t{block[4 * i + 3]};
    for (int i = 16; i < 64; ++i) {
        const std::uint32_t s0 = Rotate(w[i - 15], 7) ^ Rotate(w[i - 15], 18) ^ w[i - 15] >> 3;
        const std::uint32_t s1 = Rotate(w[i - 2], 17) ^ Rotate(w[i - 2], 19) ^ w[i - 2] >> 10;
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (int i = 0; i < 64; ++i) {
        const std::uint32_t s1 = Rotate(e, 6) ^ Rotate(e, 11) ^ Rotate(e, 25);
        const std::uint32_t t1 = h + s1 + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
        const std::uint32_t s0 = Rotate(a, 2) ^ Rotate(a, 13) ^ Rotate(a, 22);
        const std::uint32_t t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
        h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
    }
    const std::uint32_t sum[8] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; ++i) state[i] += sum[i];
}

void Sha256::Update(const void* bytes, std::size_t count) {
    auto next = static_cast<const unsigned char*>(bytes);
    while (count > 0) {
        const std::size_t held = length % 64, taken = std::min(count, 64 - held);
        if (taken == 64) {
            Block(next);
        } else {
            std::memcpy(pending.data() + held, next, taken);
            if (held + taken == 64) Block(pending.data());
        }
        length += taken, next += taken, count -= taken;
    }
}

std::string Sha256::Hex() {
    const std::uint64_t bits = length * 8;
    unsigned char end[72] = {0x80};                     // a one bit, zeros up to 8 bytes below a block's end,
    const std::size_t zeros = (119 - length % 64) % 64; // then the length in bits, big-endian
    for (int i = 0; i < 8; ++i) end[1 + zeros + i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
    Update(end, 1 + zeros + 8);
    std::string hex;
    for (const std::uint32_t word : state)
        for (int shift = 28; shift >= 0; shift -= 4) hex += "0123456789abcdef"[word >> shift & 15];
    return hex;
}

std::string ChecksumOf(const void* bytes, std::size_t count) {
    Sha256 sum;
    sum.Update(bytes, count);
    return sum.Hex();
}

std::string ChecksumOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<char> piece(1 << 20);
    Sha256 sum;
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size())) || in.gcount() > 0)
        sum.Update(piece.data(), static_cast<std::size_t>(in.gcount()));
    if (!in.eof()) throw Refusal("can't read " + file.string());
    return sum.Hex();
}

} // namespace tzmchain
