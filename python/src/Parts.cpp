// A chain over parts of a block, for processes that share it.
#include <pybind11/stl.h>

#include "Block.h"
#include "Chain/Recipe.h"
#include "Chain/private/StepRun.h"
#include "Framework/private/LoopWatch.h"
#include "Json.h"
#include "Recording/private/Text.h"
#include "Run.h"
#include "Steps.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

/// A settled chain and a block that nobody holds as a whole: what is known of it ahead of each step, and what was
/// found. Everything it is made of travels as text, so that every process has one.
class Parts {
public:
    /// \param document of a chain, with all parameters as they are
    Parts(const py::object& document, const std::tuple<int, int, int>& shape, const py::dict& about,
          const py::object& config, const py::object& calibration)
        : chain(Chain::FromDocument(ToJson(document, "chain"), "chain")), configuration(config),
          calibrations(calibration), abouts(chain.steps.size() + 1), found(chain.steps.size()) {
        for (const Step& step : chain.steps)
            if (!step.WorksInParts())
                throw ChainError(step.Info().name + " must see the whole block", step.Info().name);
        abouts[0] = AboutOf(shape, about);
        SettleShapes(0);
    }

    /// How much of the block each step must see: scope, B-scans on each side, whether through findings, cost.
    py::list Couplings() const {
        static const char* const names[] = {"ascan", "bscan", "lane", "neighbours", "block"};
        py::list list;
        for (std::size_t i = 0; i < chain.steps.size(); ++i) {
            const Step& step = chain.steps[i];
            const Coupling c = step.CouplingNow(abouts[i].size.samples * abouts[i].deltaT);
            list.append(py::make_tuple(names[c.scope], c.neighbours, c.throughFindings, step.Info().cost));
        }
        return list;
    }

    /// Keeps what a step has found in all parts, merged here from texts. The shapes behind it are known then.
    void Put(std::size_t step, const std::vector<std::string>& findings) {
        const auto& couples = dynamic_cast<const CouplesBlock&>(chain.steps.at(step).Algorithm());
        BlockFindings all = couples.FindingsFromJson(ParseJson(findings.at(0), "findings"));
        for (std::size_t i = 1; i < findings.size(); ++i)
            all.Merge(couples.FindingsFromJson(ParseJson(findings[i], "findings")));
        all.RequireAll(couples.FindingsTable(), abouts[0].size.bscans);
        found[step] = std::move(all);
        SettleShapes(step);
    }

    /// What a step has found, as one text.
    std::string Found(std::size_t step) const { return found.at(step) ? JsonText(found[step]->ToJson()) : ""; }

    /// What is known of the block ahead of a step; of the image, behind the last one.
    Block About(std::size_t step) const { return Block(abouts.at(step)); }

    /// Runs steps begin .. end - 1 on B-scans `first` and following, and looks at the result ahead of step `end`.
    /// \param core first and number of the B-scans that are kept of the result; the others stand beside them
    py::tuple Work(std::size_t begin, std::size_t end, const py::object& data, int first, std::pair<int, int> core,
                   bool looks, int threads) {
        Input input = InputOf(data);
        if (end > chain.steps.size() || begin > end || (looks && end == chain.steps.size()))
            throw py::index_error("the chain has no such steps");
        const Turn turn;
        const Documents documents(configuration, calibrations);
        Watch watch{py::none()};
        Recording part = PartOf(abouts[begin], first, input.size.bscans);
        if (!(part.size == input.size)) throw py::value_error("the part has another shape than the block");
        part.data = std::move(input.samples);
        std::string findings;
        Released(watch, [&] {
            if (begin == 0) RequireFinite(part, "the part from B-scan " + std::to_string(first) + " on");
            const Setting setting(part, threads);
            const LoopWatch listening([&](double share) { return watch(0, share); });
            for (std::size_t i = begin; i < end; ++i) part = StepOn(i, part, first);
            part = Core(part, core.first, core.second);
            if (looks) {
                const BlockPart place{first + core.first, abouts[end].size.bscans};
                findings = JsonText(LookAt(chain.steps[end], part, place)->ToJson());
            }
            if (end == chain.steps.size())
                RequireFinite(part, "the image from B-scan " + std::to_string(first) + " on");
        });
        PassLogOn();
        return py::make_tuple(ArrayOf(part), findings);
    }

private:
    static Recording PartOf(const Recording& whole, int first, int count) {
        if (first < 0 || count < 1 || first > whole.size.bscans - count)
            throw py::index_error("the block has B-scans 0 to " + std::to_string(whole.size.bscans - 1));
        Recording part = whole.About();
        part.size.bscans = count;
        const auto cut = [&](auto& list) {
            if (list.size() == static_cast<std::size_t>(whole.size.bscans))
                list = {list.begin() + first, list.begin() + first + count};
        };
        cut(part.validRanges);
        cut(part.timeZeros);
        part.positions.clear();
        return part;
    }

    static Recording Core(const Recording& part, int first, int count) {
        Recording core = PartOf(part, first, count);
        core.data = Samples(part.data, part.data.get() + std::int64_t{first} * part.size.samples * part.size.ascans);
        return core;
    }

    Recording StepOn(std::size_t i, const Recording& in, int first) const {
        const Step& step = chain.steps[i];
        try {
            Recording out = TZM::Work(step, in, {first, abouts[i].size.bscans}, found[i]);
            StepReport unused;
            if (found[i]) Conclude(step, in, found[i], out, unused); // a detection leaves fewer samples
            return out;
        } catch (const Exception::CalcError& error) {
            throw Explained(step, error, in.size);
        }
    }

    void SettleShapes(std::size_t from) {
        for (std::size_t i = from; i < chain.steps.size(); ++i) {
            abouts[i + 1] = Outcome(chain.steps[i], abouts[i]);
            StepReport report;
            if (found[i]) Conclude(chain.steps[i], abouts[i], found[i], abouts[i + 1], report);
        }
    }

    const Chain chain;
    const py::object configuration, calibrations;
    std::vector<Recording> abouts;
    std::vector<Findings> found;
};

/// A chain as it will be run on a recording: with all parameters, what the recording is then, and warnings.
py::tuple Settled(const std::vector<const Step*>& steps, const std::tuple<int, int, int>& shape, const py::dict& fields,
                  const py::object& config, const py::object& calibration, std::optional<int> timeZero,
                  std::optional<double> permittivity, std::optional<double> antennaOffset,
                  std::optional<double> lineSpacing) {
    const Turn turn;
    const Documents documents(config, calibration);
    Recording about = AboutOf(shape, fields);
    Chain chain = ChainOf(steps);
    const std::vector<std::string> warnings =
        Prepare(chain, about, {timeZero, permittivity, antennaOffset, lineSpacing});
    Json::Value document;
    document["chain"] = chain.Document();
    return py::make_tuple(FromJson(document), py::cast(Block(about)).attr("about")(), warnings);
}

} // namespace

void BindParts(py::module_& module) {
    py::class_<Parts>(module, "Parts")
        .def(py::init<const py::object&, const std::tuple<int, int, int>&, const py::dict&, const py::object&,
                      const py::object&>(),
             py::arg("document"), py::arg("shape"), py::arg("about"), py::arg("config"), py::arg("calibration"))
        .def("couplings", &Parts::Couplings)
        .def("put", &Parts::Put, py::arg("step"), py::arg("findings"))
        .def("found", &Parts::Found, py::arg("step"))
        .def("about", &Parts::About, py::arg("step"))
        .def("work", &Parts::Work, py::arg("begin"), py::arg("end"), py::arg("data"), py::arg("first"), py::arg("core"),
             py::arg("looks"), py::arg("threads"));
    module.def("settled", &Settled, py::arg("steps"), py::arg("shape"), py::arg("about"), py::arg("config"),
               py::arg("calibration"), py::arg("time_zero"), py::arg("permittivity"), py::arg("antenna_offset"),
               py::arg("line_spacing"));
}

} // namespace tzmpy
