#include "Algorithms/Migration/TaperWindow.h"

#include <algorithm>

#include "Array/Primitives/Checked.h"

namespace TZM {

namespace {

void MultiplyByWindow(const TaperWindow& taper, IPP::Array<float>& a) {
    switch (taper.windowType) {
    case TaperWindow::Hamming: IPP::Checked::ippsWinHamming_32f_I(a.data, a.size); break;
    case TaperWindow::Bartlett: IPP::Checked::ippsWinBartlett_32f_I(a.data, a.size); break;
    case TaperWindow::Blackman: IPP::Checked::ippsWinBlackman_32f_I(a.data, a.size, taper.windowParameter); break;
    case TaperWindow::Hann: IPP::Checked::ippsWinHann_32f_I(a.data, a.size); break;
    case TaperWindow::Kaiser: IPP::Checked::ippsWinKaiser_32f_I(a.data, a.size, taper.windowParameter); break;
    default: break;
    }
}

} // namespace

void TaperWindow::Apply(IPP::Array<float>& a) const {
    a.Set(1.f);
    const int length = std::min(taperLength, a.size / 2);
    if (taperLength < 2 || length < 1) return;
    IPP::Array<float> window(2 * length);
    window.Set(1.f);
    MultiplyByWindow(*this, window);
    for (int i = 0; i < length; ++i) a[i] = a[a.size - 1 - i] = window[i];
}

void TaperWindow::Apply(IPP::Array<IPP::Ipp32fc>& a) const {
    IPP::Array<float> weights(a.size);
    Apply(weights);
    for (int i = 0; i < a.size; ++i) a[i] = {weights[i], 0.f};
}

} // namespace TZM
