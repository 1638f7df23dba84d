// Chain documents, settled and checked for a recording.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Chain/Chain.h"
#include "Recording/private/Text.h"

using namespace TZM;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const Json::Value document = ParseJson({reinterpret_cast<const char*>(data), size}, "chain.json");
        SkippedKeys(document);
        Chain chain = Chain::FromDocument(document, "chain.json");
        Recording recording;
        recording.size = {256, 40, 5};
        recording.timeZeros = {10, 12, 11, 10, 13};
        recording.timeZero = 11;
        chain.Settle(recording, {});
        chain.Document();
        chain.Check(recording);
    } catch (const Refusal&) {
    }
    return 0;
}
