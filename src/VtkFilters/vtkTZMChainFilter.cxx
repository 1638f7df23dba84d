#include "VtkFilters/vtkTZMChainFilter.h"

#include <vtkObjectFactory.h>

#include "Chain/Chain.h"
#include "Chain/private/StepRun.h"
#include "Recording/private/Text.h"

struct vtkTZMChainFilter::Internals {
    std::string file, document, preset, notes;
    TZM::Chain chain;                           ///< of the last request
    std::optional<TZM::RunDocuments> documents; ///< of the recipe that it is from
};

vtkStandardNewMacro(vtkTZMChainFilter)

    vtkTZMChainFilter::vtkTZMChainFilter()
    : Inner(std::make_unique<Internals>()) {}

vtkTZMChainFilter::~vtkTZMChainFilter() = default;

void vtkTZMChainFilter::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    os << indent << "FileName: " << this->Inner->file << "\n";
    os << indent << "Document: " << TZM::OneLine(this->Inner->document) << "\n";
    os << indent << "Preset: " << this->Inner->preset << "\n";
    os << indent << "TimeZero: " << this->TimeZero << "\n";
    os << indent << "Permittivity: " << this->Permittivity << "\n";
    os << indent << "AntennaOffset: " << this->AntennaOffset << "\n";
    os << indent << "LineSpacing: " << this->LineSpacing << "\n";
}

void vtkTZMChainFilter::Store(std::string& field, const char* value) {
    const std::string wanted = value ? value : "";
    if (wanted == field) return;
    field = wanted;
    this->Modified();
}

void vtkTZMChainFilter::SetFileName(const char* name) { this->Store(this->Inner->file, name); }
const char* vtkTZMChainFilter::GetFileName() const { return this->Inner->file.c_str(); }
void vtkTZMChainFilter::SetDocument(const char* text) { this->Store(this->Inner->document, text); }
const char* vtkTZMChainFilter::GetDocument() const { return this->Inner->document.c_str(); }
void vtkTZMChainFilter::SetPreset(const char* name) { this->Store(this->Inner->preset, name); }
const char* vtkTZMChainFilter::GetPreset() const { return this->Inner->preset.c_str(); }
const char* vtkTZMChainFilter::GetNotes() const { return this->Inner->notes.c_str(); }

void vtkTZMChainFilter::SetTimeZero(int sample) {
    if (sample == this->TimeZero) return;
    this->TimeZero = sample;
    this->Modified();
}

void vtkTZMChainFilter::SetPermittivity(double permittivity) {
    if (permittivity == this->Permittivity) return;
    this->Permittivity = permittivity;
    this->Modified();
}

void vtkTZMChainFilter::SetAntennaOffset(double metres) {
    if (metres == this->AntennaOffset) return;
    this->AntennaOffset = metres;
    this->Modified();
}

void vtkTZMChainFilter::SetLineSpacing(double metres) {
    if (metres == this->LineSpacing) return;
    this->LineSpacing = metres;
    this->Modified();
}

const TZM::RunDocuments* vtkTZMChainFilter::Documents() const {
    return this->Inner->documents ? &*this->Inner->documents : nullptr;
}

const std::vector<TZM::Step>& vtkTZMChainFilter::PrepareSteps(TZM::Recording& about) {
    Internals& inner = *this->Inner;
    TZM::GivenNumbers numbers;
    if (this->TimeZero >= 0) numbers.timeZero = this->TimeZero;
    if (this->Permittivity > 0) numbers.permittivity = this->Permittivity;
    if (this->AntennaOffset >= 0) numbers.antennaOffset = this->AntennaOffset;
    if (this->LineSpacing > 0) numbers.lineSpacing = this->LineSpacing;
    inner.documents.reset();
    const auto read = [&](const std::string& text, const std::string& name) {
        const Json::Value document = TZM::ParseJson(text, name);
        inner.chain = TZM::Chain::FromDocument(document, name);
        inner.documents = TZM::DocumentsOf(document);
    };
    if (!inner.file.empty()) {
        read(TZM::ReadText(inner.file), inner.file);
    } else if (!inner.document.empty()) {
        read(inner.document, "chain");
    } else {
        TZM::ChainChoice choice;
        choice.timeZero = numbers.timeZero;
        choice.lineSpacing = numbers.lineSpacing;
        if (!inner.preset.empty()) choice.preset = inner.preset;
        inner.chain = TZM::Chain::Standard(about, choice);
    }
    std::optional<TZM::Setting> setting;
    if (inner.documents) setting.emplace(this->Documents());
    inner.notes.clear();
    for (const TZM::AssumedNumber& number : inner.chain.Settle(about, numbers)) inner.notes += number.Text() + "\n";
    for (const std::string& line : inner.chain.Check(about)) inner.notes += line + "\n";
    return inner.chain.steps;
}
