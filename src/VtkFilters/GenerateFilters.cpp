// Writes what is made of the list of algorithms for VTK and ParaView: a header per filter, the sources of all of them,
// and the panels.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Chain/AlgorithmInfo.h"
#include "Chain/Chain.h"
#include "Formats/Formats.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

using Marks = std::map<std::string, std::string>;

/// A text with @Mark@ replaced.
std::string Filled(std::string text, const Marks& marks) {
    for (const auto& [mark, value] : marks)
        for (auto at = text.find("@" + mark + "@"); at != std::string::npos;
             at = text.find("@" + mark + "@", at + value.size()))
            text.replace(at, mark.size() + 2, value);
    return text;
}

std::string ClassOf(const AlgorithmInfo& row) { return "vtkTZM" + row.name + "Filter"; }

std::string Capital(std::string name) {
    name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    return name;
}

/// "HalfLenTriangle" as "Half Len Triangle". ParaView's Python knows a property by the letters of its label.
std::string Words(const std::string& name) {
    std::string words;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto is = [&](int (*kind)(int), std::size_t k) { return kind(static_cast<unsigned char>(name[k])) != 0; };
        if (i > 0 && is(std::isupper, i) && is(std::islower, i - 1)) words += ' ';
        words += name[i];
    }
    return Capital(words);
}

std::string Compact(const Json::Value& value) {
    return value.isString() ? "\"" + value.asString() + "\"" : OneLine(JsonText(value));
}

/// "In ns, sensible from 0 on, 10 unless it is set."
std::string Limits(const ParameterInfo& p) {
    std::string text;
    const auto add = [&](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
    if (!p.unit.empty()) add("in " + p.unit + (p.unit == "sample" ? "s" : ""));
    if (p.type == ValueType::Word) add("one of " + p.TypeText());
    if (std::isfinite(p.low) && std::isfinite(p.high))
        add("sensible from " + Number(p.low) + " to " + Number(p.high));
    else if (std::isfinite(p.low))
        add("sensible from " + Number(p.low) + " on");
    const bool isList = p.type == ValueType::Integers || p.type == ValueType::Numbers;
    const bool isEmpty = isList || (p.type == ValueType::Text && p.defaultValue.asString().empty());
    add(isEmpty ? "empty unless it is set" : Compact(p.defaultValue) + " unless it is set");
    return Capital(text) + ".";
}

// ---- Headers and sources.

std::string Accessors(const ParameterInfo& p) {
    std::string body;
    switch (p.type) {
    case ValueType::Integer:
        body = "    void Set@Name@(int value) { this->SetInteger(\"@key@\", value); }\n"
               "    int Get@Name@() { return this->GetInteger(\"@key@\"); }\n";
        break;
    case ValueType::Number:
        body = "    void Set@Name@(double value) { this->SetNumber(\"@key@\", value); }\n"
               "    double Get@Name@() { return this->GetNumber(\"@key@\"); }\n";
        break;
    case ValueType::Flag:
        body = "    void Set@Name@(bool value) { this->SetFlag(\"@key@\", value); }\n"
               "    bool Get@Name@() { return this->GetFlag(\"@key@\"); }\n"
               "    void @Name@On() { this->Set@Name@(true); }\n"
               "    void @Name@Off() { this->Set@Name@(false); }\n";
        break;
    case ValueType::Text:
    case ValueType::Word:
        body = "    void Set@Name@(const char* value) { this->SetText(\"@key@\", value); }\n"
               "    const char* Get@Name@() { return this->GetText(\"@key@\"); }\n";
        break;
    case ValueType::Integers:
    case ValueType::Numbers:
        body = "    void SetNumberOf@Name@(int count) { this->SetLength(\"@key@\", count); }\n"
               "    int GetNumberOf@Name@() { return this->GetLength(\"@key@\"); }\n"
               "    void Set@Name@(int index, @type@ value) { this->SetElement(\"@key@\", index, value); }\n"
               "    @type@ Get@Name@(int index) { return static_cast<@type@>(this->GetElement(\"@key@\", index)); }\n"
               "    void Set@Name@(vtkDataArray* values) { this->SetElements(\"@key@\", values); }\n";
        break;
    case ValueType::Widths:
        body = "    void Set@Name@(int lowerX, int upperX, int lowerY, int upperY, int lowerZ, int upperZ) {\n"
               "        this->SetWidths(\"@key@\", lowerX, upperX, lowerY, upperY, lowerZ, upperZ);\n"
               "    }\n"
               "    int* Get@Name@() VTK_SIZEHINT(6) { return this->GetWidths(\"@key@\"); }\n";
        break;
    }
    return Filled("\n    ///@{\n    /// @Meaning@.\n    /// @Limits@\n" + body + "    ///@}\n",
                  {{"Name", Capital(p.name)},
                   {"key", p.name},
                   {"type", p.type == ValueType::Integers ? "int" : "double"},
                   {"Meaning", Capital(p.meaning)},
                   {"Limits", Limits(p)}});
}

std::string Header(const AlgorithmInfo& row) {
    std::string accessors;
    for (const ParameterInfo& parameter : row.parameters) accessors += Accessors(parameter);
    return Filled(R"(// Made of the library's list of algorithms when the library is built.
#pragma once

#include "VtkFilters/vtkTZMAlgorithmFilter.h"

/// @name@: @summary@.
/// It must see at once: @coupling@. The manual's page is @page@.md; how images, parts and errors are taken tells
/// vtkTZMBlockFilter.
class TZM_EXPORT @class@ : public vtkTZMAlgorithmFilter {
public:
    static @class@* New();
    vtkTypeMacro(@class@, vtkTZMAlgorithmFilter)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    @class@(const @class@&) = delete;
    void operator=(const @class@&) = delete;
@accessors@
protected:
    @class@();
    ~@class@() override;
};
)",
                  {{"class", ClassOf(row)},
                   {"name", row.name},
                   {"summary", row.summary},
                   {"coupling", Step(row).CouplingNow().Text()},
                   {"page", row.page},
                   {"accessors", accessors}});
}

std::string Sources() {
    std::string includes, bodies, choices;
    for (const AlgorithmInfo& row : Algorithms()) {
        const Marks marks{{"class", ClassOf(row)}, {"name", row.name}};
        includes += Filled("#include \"VtkFilters/@class@.h\"\n", marks);
        choices += Filled("    if (name == \"@name@\") return @class@::New();\n", marks);
        bodies += Filled(R"(
vtkStandardNewMacro(@class@)
@class@::@class@() : vtkTZMAlgorithmFilter("@name@") {}
@class@::~@class@() = default;
void @class@::PrintSelf(std::ostream& os, vtkIndent indent) { this->Superclass::PrintSelf(os, indent); }
)",
                         marks);
    }
    return "// Made of the library's list of algorithms when the library is built.\n#include <vtkObjectFactory.h>\n\n" +
           includes + bodies +
           "\nvtkTZMAlgorithmFilter* vtkTZMAlgorithmFilter::NewFilter(const char* algorithm) {\n"
           "    const std::string name = algorithm ? algorithm : \"\";\n" +
           choices + "    return nullptr;\n}\n";
}

// ---- Panels of ParaView.

std::string Xml(std::string text) {
    const std::pair<const char*, const char*> marks[] = {
        {"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}};
    for (const auto& [mark, entity] : marks)
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + std::string(entity).size()))
            text.replace(at, 1, entity);
    return text;
}

std::string Range(const char* kind, const ParameterInfo& p) {
    std::string text = std::string("        <") + kind + " name=\"range\"";
    if (std::isfinite(p.low)) text += " min=\"" + Number(p.low, 9) + "\"";
    if (std::isfinite(p.high)) text += " max=\"" + Number(p.high, 9) + "\"";
    return text + "/>\n";
}

/// A parameter as a property of a panel. The log is off there: its lines would open a window.
std::string Property(const ParameterInfo& p) {
    const bool isLog = p.name == "enableLogging" || p.name == "loggingLevel";
    std::string tag, attributes = "number_of_elements=\"1\" default_values=\"@default@\"", domain;
    std::string value = p.defaultValue.isString() ? p.defaultValue.asString() : Compact(p.defaultValue);
    switch (p.type) {
    case ValueType::Integer:
        tag = "IntVectorProperty";
        domain = Range("IntRangeDomain", p);
        break;
    case ValueType::Number:
        tag = "DoubleVectorProperty";
        domain = Range("DoubleRangeDomain", p);
        break;
    case ValueType::Flag:
        tag = "IntVectorProperty";
        value = p.defaultValue.asBool() && !isLog ? "1" : "0";
        domain = "        <BooleanDomain name=\"bool\"/>\n";
        break;
    case ValueType::Text: tag = "StringVectorProperty"; break;
    case ValueType::Word:
        tag = "StringVectorProperty";
        domain = "        <StringListDomain name=\"list\">\n";
        for (const std::string& word : p.words) domain += "          <String value=\"" + word + "\"/>\n";
        domain += "        </StringListDomain>\n";
        break;
    case ValueType::Integers:
    case ValueType::Numbers:
        tag = p.type == ValueType::Integers ? "IntVectorProperty" : "DoubleVectorProperty";
        attributes = "set_number_command=\"SetNumberOf@Name@\" repeat_command=\"1\" use_index=\"1\" "
                     "number_of_elements=\"0\" number_of_elements_per_command=\"1\"";
        break;
    case ValueType::Widths:
        tag = "IntVectorProperty";
        attributes = "number_of_elements=\"6\" default_values=\"0 0 0 0 0 0\"";
        domain = Range("IntRangeDomain", p);
        break;
    }
    if (isLog) attributes += " panel_visibility=\"advanced\"";
    return Filled("      <@tag@ name=\"@Name@\" label=\"@label@\" command=\"Set@Name@\" " + attributes + ">\n" +
                      domain + "        <Documentation>@meaning@. @limits@</Documentation>\n      </@tag@>\n",
                  {{"tag", tag},
                   {"Name", Capital(p.name)},
                   {"label", Words(p.name)},
                   {"default", Xml(value)},
                   {"meaning", Xml(Capital(p.meaning))},
                   {"limits", Xml(Limits(p))}});
}

/// What a recording tells, or a user of all steps, stands ahead of what tunes the one.
std::string Groups(const AlgorithmInfo& row) {
    std::string common, tuning;
    for (const ParameterInfo& p : row.parameters) {
        const bool isCommon =
            p.name == "timeZero" || p.name == "permittivity" || p.name == "antennaOffset" || p.name == "lineSpacing";
        (isCommon ? common : tuning) += "        <Property name=\"" + Capital(p.name) + "\"/>\n";
    }
    std::string text;
    if (!common.empty())
        text += "      <PropertyGroup label=\"Ground and recording\">\n" + common + "      </PropertyGroup>\n";
    return text + "      <PropertyGroup label=\"Tuning\">\n" + tuning + "      </PropertyGroup>\n";
}

/// A source or filter of the menu. \param input the property that takes an image; none of a reader
std::string Proxy(const Marks& marks, const std::string& input, const std::string& properties,
                  const std::string& hints) {
    return Filled(R"(    <SourceProxy name="@name@" class="@class@" label="@label@">
      <Documentation short_help="@short@" long_help="@short@">@long@</Documentation>
)",
                  marks) +
           input + properties + "      <Hints>\n" + hints + "      </Hints>\n    </SourceProxy>\n";
}

/// An image is shown as a slice, since a single line has no volume, in the colours of the plugin.
constexpr const char* kView = "        <RepresentationType view=\"RenderView\" type=\"Slice\"/>\n"
                              "        <InitializationHelper class=\"vtkSMTZMLookInitializationHelper\"/>\n";

std::string FilterPanel(const Marks& marks, const std::string& properties) {
    return Proxy(marks, R"(      <InputProperty name="Input" command="SetInputConnection">
        <ProxyGroupDomain name="groups">
          <Group name="sources"/>
          <Group name="filters"/>
        </ProxyGroupDomain>
        <DataTypeDomain name="input_type">
          <DataType value="vtkImageData"/>
        </DataTypeDomain>
        <Documentation>An image with samples along x, in ns, A-scans along y and lines along z, in m.</Documentation>
      </InputProperty>
)",
                 properties + R"(      <IntVectorProperty name="NumberOfThreads" command="SetNumberOfThreads"
          number_of_elements="1" default_values="0" panel_visibility="advanced">
        <IntRangeDomain name="range" min="0"/>
        <Documentation>Threads of each process; 0: as many as its runtime takes.</Documentation>
      </IntVectorProperty>
)",
                 std::string("        <ShowInMenu category=\"Ground-penetrating radar\"/>\n") + kView);
}

/// A property that isn't an algorithm's.
std::string Plain(const std::string& kind, const std::string& name, const std::string& label,
                  const std::string& defaultValue, const std::string& domain, const std::string& help) {
    return Filled(R"(      <@kind@VectorProperty name="@name@" label="@label@" command="Set@name@"
          number_of_elements="1" default_values="@default@">
@domain@        <Documentation>@help@</Documentation>
      </@kind@VectorProperty>
)",
                  {{"kind", kind},
                   {"name", name},
                   {"label", label},
                   {"default", defaultValue},
                   {"domain", domain},
                   {"help", help}});
}

std::string ChainPanel() {
    std::string presets = "        <StringListDomain name=\"list\">\n          <String value=\"\"/>\n", meanings;
    for (const ChainPreset& preset : ChainPresets()) {
        presets += "          <String value=\"" + preset.name + "\"/>\n";
        meanings += "; " + preset.name + ": " + preset.meaning;
    }
    presets += "        </StringListDomain>\n";
    return FilterPanel(
        {{"name", "TZMChain"},
         {"class", "vtkTZMChainFilter"},
         {"label", "GPR Chain"},
         {"short", "Runs a chain of algorithms: of a document, or the standard one for the recording."},
         {"long",
          "What the recording tells (time zero, permittivity, antenna offset) counts where neither document nor "
          "numbers say otherwise."}},
        Plain("String", "FileName", "File Name", "", "        <FileListDomain name=\"files\"/>\n",
              "A chain document or the recipe of a run; none: the standard chain.") +
            Plain("String", "Preset", "Preset", "", presets,
                  "Of the standard chain: what is in the ground" + Xml(meanings)) +
            Plain("Int", "TimeZero", "Time Zero", "-1", "", "Sample; below 0: as the recording or the document tell.") +
            Plain("Double", "Permittivity", "Permittivity", "0", "", "Of the ground, 1 to 81; 0: as they tell.") +
            Plain("Double", "AntennaOffset", "Antenna Offset", "-1", "",
                  "In m, from transmitter to receiver; below 0: as they tell.") +
            Plain("Double", "LineSpacing", "Line Spacing", "0", "", "In m; 0: as they tell."));
}

/// The reader for all forms but that of VTK's own images, which ParaView reads.
std::string ReaderPanel() {
    std::set<std::string> extensions;
    for (const Format& format : Formats())
        for (const std::string& extension : format.extensions)
            if (extension != ".vti") extensions.insert(extension.substr(1));
    std::string list;
    for (const std::string& extension : extensions) list += (list.empty() ? "" : " ") + extension;
    return Proxy(
        {{"name", "TZMRecordingReader"},
         {"class", "vtkTZMRecordingReader"},
         {"label", "GPR Recording"},
         {"short", "Reads a recording of ground-penetrating radar, all channels."},
         {"long", "Several files are the lines of a survey. x holds samples in ns, y A-scans and z lines in m."}},
        "",
        R"(      <StringVectorProperty name="FileNames" command="AddFileName" clean_command="RemoveAllFileNames"
          repeat_command="1" number_of_elements_per_command="1" panel_visibility="never">
        <FileListDomain name="files"/>
        <Documentation>The files to read.</Documentation>
      </StringVectorProperty>
)" +
            Plain("Double", "DeltaX", "Delta X", "0", "",
                  "Distance between A-scans in m to which lines are resampled; 0: as they are.") +
            Plain("Int", "Resample", "Resample", "0", "        <BooleanDomain name=\"bool\"/>\n",
                  "Files of several sampling intervals are brought to the finest of them.") +
            Plain("String", "Component", "Component", "Ez", "", "Of the field, in a form that holds several."),
        "        <ReaderFactory extensions=\"" + list + "\" file_description=\"Ground-penetrating radar\"/>\n" + kView);
}

std::string Panels() {
    std::string text = "<!-- Made of the library's lists when the plugin is built. -->\n<ServerManagerConfiguration>\n"
                       "  <ProxyGroup name=\"sources\">\n" +
                       ReaderPanel() + "  </ProxyGroup>\n  <ProxyGroup name=\"filters\">\n" + ChainPanel();
    for (const AlgorithmInfo& row : Algorithms()) {
        std::string properties;
        for (const ParameterInfo& parameter : row.parameters) properties += Property(parameter);
        const std::string help = Capital(row.summary) + ". It must see at once: " + Step(row).CouplingNow().Text() +
                                 ". The manual's page is " + row.page + ".md.";
        text += FilterPanel({{"name", "TZM" + row.name},
                             {"class", ClassOf(row)},
                             {"label", "GPR " + Words(row.name)},
                             {"short", Xml(Capital(row.summary))},
                             {"long", Xml(help)}},
                            properties + Groups(row));
    }
    return text + "  </ProxyGroup>\n</ServerManagerConfiguration>\n";
}

void Write(const std::string& folder, const std::string& name, const std::string& text) {
    WriteBytes(folder + "/" + name, text.data(), text.size());
}

int Generate(const std::string& folder, const std::vector<std::string>& names) {
    std::vector<std::string> known;
    for (const AlgorithmInfo& row : Algorithms()) known.push_back(row.name);
    if (names != known) {
        std::fprintf(stderr, "the build knows the algorithms %s, the library %s\n", Joined(names).c_str(),
                     Joined(known).c_str());
        return 1;
    }
    for (const AlgorithmInfo& row : Algorithms()) Write(folder, ClassOf(row) + ".h", Header(row));
    Write(folder, "Filters.cxx", Sources());
    Write(folder, "Filters.xml", Panels());
    return 0;
}

} // namespace

} // namespace TZM

/// GenerateFilters FOLDER ALGORITHM...
int main(int argc, char** argv) {
    if (argc < 2) return 1;
    try {
        TZM::RegisterInstrumentFormats();
        return TZM::Generate(argv[1], {argv + 2, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
