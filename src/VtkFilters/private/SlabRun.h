#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Chain/Chain.h"
#include "Chain/private/StepRun.h"

namespace TZM {

/// A run of B-scans of a block: begin .. end - 1.
struct Slab {
    int begin = 0, end = 0;

    int Count() const { return end - begin; }
    bool IsEmpty() const { return end <= begin; }
};

/// Passes texts between processes that share a block: takes that of this one, gives those of all. Every process calls
/// it equally often. Empty where a process is alone.
using Exchange = std::function<std::vector<std::string>(const std::string& mine)>;

/// Steps on a slab of a block, to the bits that they give on all of it. What a step must know of the rest it takes from
/// lines beside the slab, and from findings that the processes exchange; alone, a process looks at the whole block.
class SlabRun {
public:
    /// \param about what is known of the whole block, without samples. \param crops a detection leaves the samples that
    /// hold data in every B-scan, as in a chain; else all, as its Execute does. ChainError for what leaves nothing.
    SlabRun(const std::vector<Step>& steps, const Recording& about, bool crops);

    /// What is known of the image, a detection's crop apart.
    const Recording& Image() const { return abouts.back(); }

    /// Lines of the block from which those of the image are made.
    Slab Needed(Slab wanted, bool alone) const;

    /// The lines `wanted` of the image. \param part the lines Needed of the block. \param tell hears of the share that
    /// is done, and ends the run by false. Refusal, Exception::Cancelled, std::bad_alloc; a failure of one process ends
    /// all at their next exchange. Needs a Setting that lives.
    Recording Run(Recording part, Slab wanted, const Exchange& exchange, const std::function<bool(double)>& tell);

    /// Tells the other processes, who wait for this one at their next exchange, that it failed ahead of Run.
    void TellFailure(const std::string& text, const Exchange& exchange);

private:
    /// For each step the lines that it gets, and those of the image behind the last one.
    std::vector<Slab> SlabsOf(Slab wanted, bool alone) const;
    Recording RunStepOn(std::size_t i, Recording part, Slab has, Slab next, const Exchange& exchange);
    Findings Agree(std::size_t i, const Recording& part, Slab has, const Exchange& exchange);
    void Resettle(std::size_t i, int samples); ///< what follows when step i has left so many samples

    const std::vector<Step>& steps;
    const bool crops;
    std::size_t pending = 0;       ///< the first step whose exchange is still to come
    std::vector<Recording> abouts; ///< of the whole block ahead of each step, and of the image
};

/// What is known of some lines of a block.
Recording PartOf(const Recording& whole, Slab slab);

} // namespace TZM
