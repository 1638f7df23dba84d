#pragma once

#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Chain/AlgorithmInfo.h"
#include "Chain/private/ParameterTypes.h"
#include "Framework/BlockCoupling.h"
#include "Framework/Prm.h"

namespace TZM {

/// Limits of what makes sense.
struct Sensible {
    double low, high;
};
constexpr double kAny = std::numeric_limits<double>::infinity();
constexpr Sensible kAnyValue = {-kAny, kAny}, kFromZero = {0, kAny};

/// Makes the row of algorithm class A: name, defaults, types and keys come from the class, the rest is told here. Every
/// algorithm has the two parameters of the log behind its own.
template <class A>
class Row {
    using Params = std::decay_t<decltype(std::declval<A&>().GetParams())>;

public:
    Row(const std::string& summary, double cost, Coupling::Scope scope) {
        info.name = algorithm.GetLogPrefix();
        info.summary = summary;
        info.cost = cost;
        info.make = [] { return std::make_unique<A>(); };
        info.coupling = [scope](const AlgoBase& of, double) {
            if constexpr (std::is_base_of_v<CouplesBlock, A>)
                if (static_cast<const A&>(of).IsCoupled()) return Coupling{Coupling::Block, 0, true};
            return Coupling{scope, 0, false};
        };
        for (const JsonKeyInfo& key : KeysOf(algorithm, 0)) info.keys.push_back({key, ""});
    }

    /// A parameter: `field` is one of the parameter struct or of a base of it.
    template <class Base, class Field>
    Row&& Parameter(const char* name, Field Base::*field, const char* unit, Sensible range, const char* meaning) && {
        using Value = typename Plain<Field>::Type;
        ParameterInfo parameter;
        parameter.name = name;
        parameter.type = ValueOf<Value>::type;
        parameter.words = ValueOf<Value>::Words();
        parameter.unit = unit;
        parameter.low = range.low;
        parameter.high = range.high;
        parameter.meaning = meaning;
        parameter.get = [field](const AlgoBase& of) {
            return ValueOf<Value>::ToJson(static_cast<const A&>(of).GetParams().*field);
        };
        parameter.set = [field](AlgoBase& of, const Json::Value& json) {
            const auto value = ValueOf<Value>::FromJson(json);
            if (value) static_cast<A&>(of).GetParams().*field = *value;
            return value.has_value();
        };
        parameter.defaultValue = parameter.get(algorithm);
        info.parameters.push_back(std::move(parameter));
        return std::move(*this);
    }

    /// The last parameter is one that a recording may tell: told(recording) gives its value, or null.
    Row&& Told(std::function<Json::Value(const Recording&)> told) && {
        info.parameters.back().told = std::move(told);
        return std::move(*this);
    }

    /// It changes sizes, intervals or places: regrid(A, recording) does the same to what is known of a block.
    Row&& Regrids(void (*regrid)(const A&, Recording&)) && {
        info.regrids = [regrid](const AlgoBase& of, Recording& block) { regrid(static_cast<const A&>(of), block); };
        return std::move(*this);
    }

    Row&& Page(const char* page) && {
        info.page = page;
        return std::move(*this);
    }

    /// Limits of a key that the algorithm applies when it runs.
    Row&& Remark(const char* key, const char* remark) && {
        for (Key& known : info.keys)
            if (known.key == key) known.remark = remark;
        return std::move(*this);
    }

    template <class Remarks>
    Row&& With(const Remarks& remarks) && {
        for (const auto& [key, remark] : remarks) std::move(*this).Remark(key, remark);
        return std::move(*this);
    }

    Row&& SetsTimeZero() && {
        info.setsTimeZero = true;
        return std::move(*this);
    }

    Row&& FindsTimeZero() && {
        info.setsTimeZero = info.findsTimeZero = true;
        return std::move(*this);
    }

    Row&& TellsChannels() && {
        info.tellsChannels = true;
        return std::move(*this);
    }

    Row&& FillsGaps() && {
        info.fillsGaps = true;
        return std::move(*this);
    }

    Row&& UpToSamples(int most) && {
        info.mostSamples = most;
        return std::move(*this);
    }

    /// What it couples depends on parameters: `coupling` takes an A, or an A and the seconds that an A-scan lasts. Not
    /// for what couples the block through findings, which says so itself.
    template <class Function>
    Row&& Couples(Function coupling) && {
        info.coupling = [coupling](const AlgoBase& of, [[maybe_unused]] double duration) {
            if constexpr (std::is_invocable_v<Function, const A&, double>)
                return coupling(static_cast<const A&>(of), duration);
            else
                return coupling(static_cast<const A&>(of));
        };
        return std::move(*this);
    }

    operator AlgorithmInfo() && {
        info.migrates = std::is_base_of_v<AlgoParamMigrationBase, Params>;
        return std::move(*this)
            .Parameter("enableLogging", &AlgoParamBase::enableLogging, "", kAnyValue, "writes lines into the log")
            .Parameter("loggingLevel", &AlgoParamBase::loggingLevel, "", kAnyValue,
                       "carried along, nothing depends on it")
            .Taken();
    }

private:
    template <class Field>
    struct Plain {
        using Type = Field;
    };
    template <class T>
    struct Plain<Prm<T>> {
        using Type = T;
    };

    template <class Algorithm>
    static auto KeysOf(const Algorithm& of, int) -> decltype(of.DescribeKeys()) {
        return of.DescribeKeys();
    }
    template <class Algorithm>
    static std::vector<JsonKeyInfo> KeysOf(const Algorithm&, long) {
        return {}; // it reads none
    }

    AlgorithmInfo Taken() { return std::move(info); }

    A algorithm; // with the defaults
    AlgorithmInfo info;
};

} // namespace TZM
