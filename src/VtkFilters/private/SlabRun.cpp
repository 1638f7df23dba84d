#include "VtkFilters/private/SlabRun.h"

#include <algorithm>

#include "Framework/Cancelled.h"
#include "Framework/private/LoopWatch.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr char kFailure = '!'; ///< begins the text of a process that failed; findings are an object

bool CouplesThroughFindings(const Step& step) { return step.CouplingNow().throughFindings; }

/// Whole lanes around a slab. Lanes of seven don't come as multiples of 35, which would be taken for lanes of five.
Slab WholeLanes(Slab slab, int bscans) {
    const int lane = bscans % 5 != 0 && bscans % 7 == 0 ? 7 : 5;
    slab = {slab.begin / lane * lane, std::min((slab.end + lane - 1) / lane * lane, bscans)};
    if (lane == 7 && slab.Count() % 5 == 0) {
        if (slab.begin > 0)
            slab.begin -= lane;
        else
            slab.end += lane; // the block has more: its number isn't a multiple of 35
    }
    return slab;
}

/// The lines with those beside them that a window reaches; at least as many as it is wide, as far as the block has
/// them.
Slab WithNeighbours(Slab slab, int beside, int bscans) {
    Slab wide{std::max(0, slab.begin - beside), slab.end > bscans - beside ? bscans : slab.end + beside};
    const auto window = std::min<std::int64_t>(bscans, std::int64_t{beside} * 2 + 1);
    while (wide.Count() < window) wide.begin > 0 ? --wide.begin : ++wide.end;
    return wide;
}

Recording View(const Recording& part, Slab has, Slab wanted) {
    Recording view = PartOf(part, {wanted.begin - has.begin, wanted.end - has.begin});
    view.data = Samples(part.data, part.data.get() + part.size.Count() / part.size.bscans * (wanted.begin - has.begin));
    return view;
}

} // namespace

Recording PartOf(const Recording& whole, Slab slab) {
    Recording part = whole.About();
    part.size.bscans = slab.Count();
    const auto cut = [&](auto& perBscan) {
        if (perBscan.size() == static_cast<std::size_t>(whole.size.bscans))
            perBscan = {perBscan.begin() + slab.begin, perBscan.begin() + slab.end};
    };
    cut(part.validRanges);
    cut(part.timeZeros);
    part.positions.clear();
    return part;
}

SlabRun::SlabRun(const std::vector<Step>& ofRun, const Recording& about, bool cropsToData)
    : steps(ofRun), crops(cropsToData), abouts{about.About()} {
    for (const Step& step : steps) abouts.push_back(Outcome(step, abouts.back()));
}

std::vector<Slab> SlabRun::SlabsOf(Slab wanted, bool alone) const {
    std::vector<Slab> slabs(steps.size() + 1, wanted);
    for (std::size_t i = steps.size(); i-- > 0;) {
        const Coupling coupling = steps[i].CouplingNow(abouts[i].size.samples * abouts[i].deltaT);
        const int bscans = abouts[i].size.bscans;
        Slab& slab = slabs[i] = slabs[i + 1];
        if (slab.IsEmpty()) continue;
        if (abouts[i + 1].size.bscans != bscans || !steps[i].WorksInParts() || (coupling.throughFindings && alone))
            slab = {0, bscans};
        else if (coupling.scope == Coupling::Neighbours)
            slab = WithNeighbours(slab, coupling.neighbours, bscans);
        else if (coupling.scope == Coupling::Lane || steps[i].Info().tellsChannels)
            slab = WholeLanes(slab, bscans);
    }
    return slabs;
}

Slab SlabRun::Needed(Slab wanted, bool alone) const { return SlabsOf(wanted, alone).front(); }

Findings SlabRun::Agree(std::size_t i, const Recording& part, Slab has, const Exchange& exchange) {
    Findings mine;
    if (!has.IsEmpty()) mine = LookAt(steps[i], part, {has.begin, abouts[i].size.bscans});
    if (!exchange) return mine;
    pending = i + 1;
    const auto& couples = dynamic_cast<const CouplesBlock&>(steps[i].Algorithm());
    BlockFindings all(couples.FindingsTable(), abouts[i].size.bscans);
    for (const std::string& text : exchange(mine ? JsonText(mine->ToJson()) : "")) {
        if (text.empty()) continue;
        if (text.front() == kFailure) {
            pending = steps.size(); // nobody goes on
            throw ChainError("another process: " + text.substr(1), steps[i].Info().name);
        }
        all.Merge(couples.FindingsFromJson(ParseJson(text, "findings")));
    }
    return all;
}

void SlabRun::TellFailure(const std::string& text, const Exchange& exchange) {
    if (exchange && std::any_of(steps.begin() + pending, steps.end(), CouplesThroughFindings))
        exchange(kFailure + text);
    pending = steps.size();
}

Recording SlabRun::RunStepOn(std::size_t i, Recording part, Slab has, Slab next, const Exchange& exchange) {
    const Step& step = steps[i];
    const Dimensions before = abouts[i].size;
    StepReport report;
    try {
        if (before.bscans == 1 && step.Info().tellsChannels) { // goes as copies, one for each channel
            if (!has.IsEmpty()) part = RunStep(step, std::move(part), report);
            if (crops && !has.IsEmpty()) Resettle(i, part.size.samples);
            return part;
        }
        Findings found;
        if (CouplesThroughFindings(step) && (exchange || (crops && step.Info().findsTimeZero)))
            found = Agree(i, part, has, exchange);
        if (found && crops) {
            Recording out = abouts[i + 1];
            Conclude(step, abouts[i], found, out, report);
            Resettle(i, out.size.samples);
        }
        const Dimensions behind = abouts[i + 1].size;
        if (next.IsEmpty()) return PartOf(abouts[i + 1], {0, 0});
        Recording made = Work(step, part, {has.begin, before.bscans}, found);
        part = Recording();
        if (made.size.samples > behind.samples) Crop(made, behind.samples, made.size.bscans);
        return View(made, behind.bscans == before.bscans ? has : Slab{0, behind.bscans}, next);
    } catch (const Exception::CalcError& error) {
        throw Explained(step, error, before);
    }
}

void SlabRun::Resettle(std::size_t i, int samples) {
    abouts[i + 1].size.samples = samples;
    for (++i; i < steps.size(); ++i) abouts[i + 1] = Outcome(steps[i], abouts[i]);
}

Recording SlabRun::Run(Recording part, Slab wanted, const Exchange& exchange, const std::function<bool(double)>& tell) {
    const std::vector<Slab> slabs = SlabsOf(wanted, !exchange);
    double planned = 0, done = 0;
    for (const Step& step : steps) planned += step.Info().cost;
    try {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const double cost = steps[i].Info().cost;
            double told = 0;
            const auto watch = [&](double share) {
                told = std::max(told, share);
                return tell((done + told * cost) / planned);
            };
            const LoopWatch listening(watch);
            if (!watch(0)) throw Exception::Cancelled();
            part = RunStepOn(i, std::move(part), slabs[i], slabs[i + 1], exchange);
            done += cost;
        }
    } catch (const std::exception& error) {
        TellFailure(error.what(), exchange);
        throw;
    }
    return part;
}

} // namespace TZM
