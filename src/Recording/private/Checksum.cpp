#include "Recording/private/Checksum.h"

#include "Recording/Refusal.h"

#include <fstream>
#include <memory>
#include <new>
#include <vector>

#include <openssl/evp.h>

namespace TZM {

namespace {

/// The sum over bytes given piece by piece.
class Sum {
public:
    Sum() : context(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
        if (!context || !EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr)) throw std::bad_alloc();
    }

    void Update(const void* bytes, std::size_t count) { EVP_DigestUpdate(context.get(), bytes, count); }

    std::string Hex() {
        unsigned char sum[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        EVP_DigestFinal_ex(context.get(), sum, &length);
        std::string hex;
        for (unsigned i = 0; i < length; ++i) {
            hex += "0123456789abcdef"[sum[i] >> 4];
            hex += "0123456789abcdef"[sum[i] & 15];
        }
        return hex;
    }

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context;
};

} // namespace

std::string ChecksumOf(const void* bytes, std::size_t count) {
    Sum sum;
    sum.Update(bytes, count);
    return sum.Hex();
}

std::string ChecksumOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<char> piece(1 << 20);
    Sum sum;
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size())) || in.gcount() > 0)
        sum.Update(piece.data(), static_cast<std::size_t>(in.gcount()));
    if (!in.eof()) throw Refusal("can't read " + file.string());
    return sum.Hex();
}

} // namespace TZM
