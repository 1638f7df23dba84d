#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "VtkFilters/vtkTZMBlockFilter.h"

/// Runs a chain of algorithms: that of a document, of the recipe of an earlier run, or the standard one for the
/// recording, with the bits that a run of the chain on the whole recording gives. A recipe brings the configuration and
/// the calibration of its run, which count in place of the process's own.
///
/// What the recording tells (time zero, permittivity, antenna offset, line spacing) counts where neither the document
/// nor the numbers here say otherwise. A time-zero detection leaves fewer samples than are known ahead of the run: the
/// image keeps the length told ahead, and what lies behind the last sample is 0.
class TZM_EXPORT vtkTZMChainFilter : public vtkTZMBlockFilter {
public:
    static vtkTZMChainFilter* New();
    vtkTypeMacro(vtkTZMChainFilter, vtkTZMBlockFilter)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMChainFilter(const vtkTZMChainFilter&) = delete;
    void operator=(const vtkTZMChainFilter&) = delete;

    ///@{
    /// File of a chain document or recipe, {"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 125}}]};
    /// none, the default: the text of SetDocument, else the standard chain.
    void SetFileName(const char* name);
    const char* GetFileName() const;
    ///@}

    ///@{
    /// The same document as text.
    void SetDocument(const char* text);
    const char* GetDocument() const;
    ///@}

    ///@{
    /// Of the standard chain: what is in the ground, "concrete" and others (TZM::ChainPresets); empty: none of them.
    void SetPreset(const char* name);
    const char* GetPreset() const;
    ///@}

    ///@{
    /// Sample of time zero in the recording; below 0, the default: as the recording or the document tell.
    void SetTimeZero(int sample);
    int GetTimeZero() const { return this->TimeZero; }
    ///@}

    ///@{
    /// Relative permittivity of the ground, from 1 to 81; 0, the default: as the recording or the document tell.
    void SetPermittivity(double permittivity);
    double GetPermittivity() const { return this->Permittivity; }
    ///@}

    ///@{
    /// Distance between transmitter and receiver in m; below 0, the default: as the recording or the document tell.
    void SetAntennaOffset(double metres);
    double GetAntennaOffset() const { return this->AntennaOffset; }
    ///@}

    ///@{
    /// Distance from line to line in m; 0, the default: as the recording or the document tell.
    void SetLineSpacing(double metres);
    double GetLineSpacing() const { return this->LineSpacing; }
    ///@}

    /// What the last update took for granted and found odd, a line each.
    const char* GetNotes() const;

protected:
    vtkTZMChainFilter();
    ~vtkTZMChainFilter() override;

    const std::vector<TZM::Step>& PrepareSteps(TZM::Recording& about) override;
    const TZM::RunDocuments* Documents() const override;
    bool CropsToData() const override { return true; }

private:
    struct Internals;
    void Store(std::string& field, const char* value);

    const std::unique_ptr<Internals> Inner;
    int TimeZero = -1;
    double Permittivity = 0, AntennaOffset = -1, LineSpacing = 0;
};
