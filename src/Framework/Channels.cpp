#include "Framework/Channels.h"

#include "Framework/CalcError.h"

namespace TZM {

int GetChannelCount(int bscanCount) {
    for (const int channels : {5, 7})
        if (bscanCount % channels == 0) return channels;
    throw Exception::CalcError(-11, "TZM::Exception::unexpectedBscanCount");
}

} // namespace TZM
