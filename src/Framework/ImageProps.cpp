#include "Framework/ImageProps.h"

#include <algorithm>

namespace TZM {

ImageProps::ImageProps(int samples, int ascans, int bscans)
    : samplesPerAscan(samples), ascansPerBscan(ascans), bscanCount(bscans),
      bscanInfo(static_cast<std::size_t>(std::max(bscans, 0)), BscanInfo{0, ascans}) {}

} // namespace TZM
