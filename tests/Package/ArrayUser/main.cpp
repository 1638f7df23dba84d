// Uses of the array layer across the border of the shared library, whose symbols are hidden unless exported: members of every
// element type, states, and exceptions caught by their type.
#include <cmath>
#include <cstring>
#include <new>

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/TaperWindow.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Array/AlignedIntVector.h"
#include "Array/Array3D.h"
#include "Array/TransformStates.h"
#include "Framework/CalcError.h"
#include "Framework/Logger.h"

namespace {

int failures = 0;

void Expect(bool holds) {
    if (!holds) ++failures;
}

template <class Failure, class Call>
void ExpectThrow(Call call) {
    try {
        call();
        ++failures;
    } catch (const Failure&) {
    } catch (...) {
        ++failures;
    }
}

} // namespace

int main() {
    IPP::Array3D<float> block(16, 3, 2);
    block.Zero();
    block.Row(1, 1).Set(2.f);
    Expect(block.Slice(1).Row(1).Mean() == 2.f && block.Row(1, 1).Median() == 2.f);
    IPP::Array2D<float> turned(3, 16);
    turned.Transpose(block.Slice(1));
    Expect(turned.At(1, 5) == 2.f);
    IPP::Array<int> counts(3);
    counts.Zero();
    Expect(counts.Max() == 0);
    IPP::Array<double> taps(4);
    Expect(taps.owner);
    IPP::AlignedIntVector list(3, 7);
    Expect(list.back() == 7);

    IPP::Array<float> cosine(16);
    for (int i = 0; i < 16; ++i) cosine[i] = static_cast<float>(std::cos(2 * 3.14159265358979 * i / 16));
    IPP::Array<IPP::Ipp32fc> analytic(16);
    analytic.Zero();
    IPP::HilbertState state(16, IPP::ippAlgHintAccurate);
    analytic.Hilbert(cosine, state);
    cosine.MagnitudesOfElements(analytic);
    Expect(std::abs(cosine[5] - 1.f) < 1e-6f);
    TZM::TaperWindow{4, TZM::TaperWindow::Hann, 1.f}.Apply(analytic);
    Expect(analytic[0].re == 0.f && TZM::CeilLog2(5) == 3);

    ExpectThrow<IPP::Exception>([&] { block.At(16, 0, 0); });
    ExpectThrow<std::bad_alloc>([] { IPP::Array<IPP::Ipp32fc> none(0); });
    try {
        IPP::HilbertState none(0, IPP::ippAlgHintAccurate);
        ++failures;
    } catch (const std::bad_alloc& failure) {
        Expect(std::strcmp(failure.what(), "bad allocation") == 0);
    }
    TZM::AlgoFkMigration migration;
    migration.GetParams().permittivity = -1.f;
    ExpectThrow<TZM::Exception::CalcError>(
        [&] { migration.Execute(block.data, {16, 3, 2}, block.data, {15, 3, 2}); });
    Expect(!TZM::Logger::GetInstance()->HasErrors() && TZM::AlgoFkMigration::defDipMax == 85.f);
    return failures;
}
