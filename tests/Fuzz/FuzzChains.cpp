// Chain documents of the host program.
#include "Chain.h"
#include "Refusal.h"
#include "Text.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const Json::Value document = tzmchain::ParseJson({reinterpret_cast<const char*>(data), size}, "chain.json");
        tzmchain::SkippedKeys(document);
        tzmchain::Chain chain = tzmchain::Chain::FromDocument(document, "chain.json");
        chain.Document();
    } catch (const tzmchain::Refusal&) {
    }
    return 0;
}
