#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamDipFilter : AlgoParamBase {
    AlgoParamDipFilter();
    AlgoParamDipFilter(bool enableLogging, int loggingLevel, float slowest, float fastest, bool reject, float taper);

    Prm<float> slowest; ///< m/ns along the surface, the slowest apparent speed of the fan; 0: no limit
    Prm<float> fastest; ///< m/ns, the fastest one; 0: no limit, up to what is flat
    Prm<bool> reject;   ///< takes the fan out in place of keeping it
    Prm<float> taper;   ///< 0 .. 1, share of the slowness at an edge over which it fades
};

/// Keeps, or rejects, what moves along the surface with an apparent speed between two limits: a fan in frequency f and
/// wavenumber kx (P. Embree, J. P. Burg and M. M. Backus, Wide-band velocity filtering, Geophysics 28 (1963), 948-974).
///
/// With P the two-dimensional spectrum of a B-scan and p = |kx| / |f| the slowness along the surface of both
/// directions,
///     Q(f, kx) = w(p) P(f, kx),   w(p) = fall(p slowest) rise(p fastest),   or 1 - w(p) to reject,
///     fall(u) = 1 up to 1, then (1 + cos(pi (u - 1) / taper)) / 2, 0 from 1 + taper on;   1 if slowest is 0
///     rise(u) = 1 from 1 on, ahead of it (1 + cos(pi (1 - u) / taper)) / 2, 0 up to 1 - taper;   1 if fastest is 0.
/// At kx = 0 p is 0, elsewhere at f = 0 it is infinite. The speed is that of the B-scan's own times, dx / dt: the
/// flank of a diffraction comes down to half the speed of the ground, a reflector in the air to half that of light,
/// 0.15 m/ns; what is flat is infinitely fast.
///
/// The transforms are a quarter longer than the A-scan. Ahead of and behind the valid A-scans their mirror images fade
/// out over an eighth of the B-scan's width, so that what is flat stays so at its ends.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. Sampling is that of the global
/// settings. CalcError -8 for a negative speed or taper, -12 for a slowest speed above the fastest, 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0. std::bad_alloc if a transform size can't be had. A B-scan that
/// holds a NaN or an infinity in its valid range comes out as NaN there.
class TZM_EXPORT AlgoDipFilter : public Algo<AlgoParamDipFilter> {
public:
    static const float defaultSlowest; ///< 0.03 m/ns, half the speed in ground of a permittivity of 25
    static const float defaultTaper;   ///< 0.2

    explicit AlgoDipFilter(const std::string& name = "DipFilter");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
