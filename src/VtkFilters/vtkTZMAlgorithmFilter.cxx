#include "VtkFilters/vtkTZMAlgorithmFilter.h"

#include <array>
#include <cmath>

#include <vtkDataArray.h>

#include "Chain/Chain.h"
#include "Recording/private/Text.h"

struct vtkTZMAlgorithmFilter::Internals {
    TZM::Step& Step() { return steps.front(); }

    std::vector<TZM::Step> steps;
    std::map<std::string, std::vector<double>> lists; ///< become values of the step when it runs
    std::map<std::string, std::string> texts;         ///< what GetText has given
    std::array<int, 6> widths{};
};

vtkTZMAlgorithmFilter::vtkTZMAlgorithmFilter(const char* algorithm) : Inner(std::make_unique<Internals>()) {
    this->Inner->steps.emplace_back(*TZM::FindAlgorithm(algorithm));
}

vtkTZMAlgorithmFilter::~vtkTZMAlgorithmFilter() = default;

void vtkTZMAlgorithmFilter::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    TZM::Step& step = this->Inner->Step();
    for (const TZM::ParameterInfo& parameter : step.Info().parameters) {
        const auto list = this->Inner->lists.find(parameter.name);
        os << indent << parameter.name << ": ";
        if (list != this->Inner->lists.end())
            os << list->second.size() << " numbers\n";
        else
            os << TZM::OneLine(TZM::JsonText(step.Get(parameter.name))) << "\n";
    }
}

const char* vtkTZMAlgorithmFilter::GetAlgorithmName() const { return this->Inner->steps.front().Info().name.c_str(); }

void vtkTZMAlgorithmFilter::ReadConfig() {
    this->Inner->Step().Algorithm().ParseParamsFromJsonConfig();
    this->Modified();
}

const std::vector<TZM::Step>& vtkTZMAlgorithmFilter::PrepareSteps(TZM::Recording& about) {
    TZM::Step& step = this->Inner->Step();
    const auto keep = [&](const TZM::ParameterInfo& parameter, const Json::Value& value) {
        parameter.set(step.Algorithm(), value);
    };
    for (const TZM::ParameterInfo& parameter : step.Info().parameters) {
        const auto list = this->Inner->lists.find(parameter.name);
        const bool given = list != this->Inner->lists.end() && !list->second.empty();
        if (given) {
            Json::Value values(Json::arrayValue);
            for (const double value : list->second) {
                if (parameter.type == TZM::ValueType::Integers)
                    values.append(static_cast<int>(value));
                else
                    values.append(value);
            }
            keep(parameter, values);
        } else if (parameter.told && !step.given.count(parameter.name)) {
            const Json::Value value = parameter.told(about);
            keep(parameter, value.isNull() ? parameter.defaultValue : value);
        } else if (list != this->Inner->lists.end()) {
            keep(parameter, Json::Value(Json::arrayValue));
        }
        if (step.given.count(parameter.name)) continue;
        if (parameter.name == "enableLogging") keep(parameter, GetOptions().GetEnableLogging());
        if (parameter.name == "loggingLevel") keep(parameter, GetOptions().GetLoggingLevel());
    }
    return this->Inner->steps;
}

namespace {

/// Sets a value; false if it is the one that stands.
bool Changed(TZM::Step& step, const char* parameter, const Json::Value& value) {
    if (step.given.count(parameter) && step.Get(parameter) == value) return false;
    step.Set(parameter, value);
    return true;
}

} // namespace

// What a step refuses is told; what doesn't change isn't a modification.
#define TZM_SET(parameter, value)                                                                                      \
    try {                                                                                                              \
        if (Changed(this->Inner->Step(), parameter, value)) this->Modified();                                          \
    } catch (const TZM::Refusal& refusal) {                                                                            \
        vtkErrorMacro(<< refusal.what());                                                                              \
    }

void vtkTZMAlgorithmFilter::SetFlag(const char* parameter, bool value) { TZM_SET(parameter, value) }
void vtkTZMAlgorithmFilter::SetInteger(const char* parameter, int value) { TZM_SET(parameter, value) }
void vtkTZMAlgorithmFilter::SetNumber(const char* parameter, double value) { TZM_SET(parameter, value) }
void vtkTZMAlgorithmFilter::SetText(const char* parameter, const char* value) { TZM_SET(parameter, value ? value : "") }

bool vtkTZMAlgorithmFilter::GetFlag(const char* parameter) { return this->Inner->Step().Get(parameter).asBool(); }
int vtkTZMAlgorithmFilter::GetInteger(const char* parameter) { return this->Inner->Step().Get(parameter).asInt(); }
double vtkTZMAlgorithmFilter::GetNumber(const char* parameter) { return this->Inner->Step().Get(parameter).asDouble(); }
const char* vtkTZMAlgorithmFilter::GetText(const char* parameter) {
    std::string& text = this->Inner->texts[parameter];
    text = this->Inner->Step().Get(parameter).asString();
    return text.c_str();
}

void vtkTZMAlgorithmFilter::SetLength(const char* parameter, int count) {
    std::vector<double>& list = this->Inner->lists[parameter];
    if (count < 0) {
        vtkErrorMacro("a list of " << count << " numbers can't be meant");
    } else if (list.size() != static_cast<std::size_t>(count)) {
        list.resize(static_cast<std::size_t>(count));
        this->Modified();
    }
}

int vtkTZMAlgorithmFilter::GetLength(const char* parameter) {
    return static_cast<int>(this->Inner->lists[parameter].size());
}

void vtkTZMAlgorithmFilter::SetElement(const char* parameter, int index, double value) {
    std::vector<double>& list = this->Inner->lists[parameter];
    if (index < 0 || !std::isfinite(value)) {
        vtkErrorMacro(<< parameter << " takes finite numbers from index 0 on, not " << value << " at " << index);
        return;
    }
    if (list.size() <= static_cast<std::size_t>(index)) list.resize(static_cast<std::size_t>(index) + 1);
    list[static_cast<std::size_t>(index)] = value;
    this->Modified();
}

double vtkTZMAlgorithmFilter::GetElement(const char* parameter, int index) {
    const std::vector<double>& list = this->Inner->lists[parameter];
    return index < 0 || static_cast<std::size_t>(index) >= list.size() ? 0. : list[static_cast<std::size_t>(index)];
}

void vtkTZMAlgorithmFilter::SetElements(const char* parameter, vtkDataArray* values) {
    const int count = values ? static_cast<int>(values->GetNumberOfValues()) : 0;
    this->SetLength(parameter, count);
    for (int i = 0; i < count; ++i) this->SetElement(parameter, i, values->GetVariantValue(i).ToDouble());
}

void vtkTZMAlgorithmFilter::SetWidths(const char* parameter, int lowerX, int upperX, int lowerY, int upperY, int lowerZ,
                                      int upperZ) {
    Json::Value widths;
    const std::array<int, 6> values{lowerX, upperX, lowerY, upperY, lowerZ, upperZ};
    const auto& names = this->Inner->Step().Info().Find(parameter)->words;
    for (std::size_t i = 0; i < names.size(); ++i) widths[names[i]] = values.at(i);
    TZM_SET(parameter, widths)
}

int* vtkTZMAlgorithmFilter::GetWidths(const char* parameter) {
    const Json::Value widths = this->Inner->Step().Get(parameter);
    const auto& names = this->Inner->Step().Info().Find(parameter)->words;
    for (std::size_t i = 0; i < names.size(); ++i) this->Inner->widths.at(i) = widths[names[i]].asInt();
    return this->Inner->widths.data();
}
