#pragma once

#include <map>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Framework/ImageProps.h"

namespace Json {
class Value;
}

namespace TZM {

// A few algorithms need the whole block before they can write the first B-scan of it, but only for a few numbers. Such
// a block may come in parts all the same, chunks of a recording that memory doesn't hold or shares of several
// processes: every part is looked at, what was found is merged, and every part is worked on with all of it. The result
// has the bits of an Execute on the whole block, however it was cut and in whatever order the parts came.

/// Where a part lies in its block. It holds as many neighbouring B-scans as its ImageProps say.
struct BlockPart {
    int firstBscan;  ///< index in the block of its first B-scan
    int blockBscans; ///< B-scans of the whole block
};

/// The description of a part of a block: the same A-scans, `bscans` B-scans from firstBscan on with their valid ranges.
TZM_EXPORT ImageProps PropsOfPart(const ImageProps& block, int firstBscan, int bscans);

/// What an algorithm has found in a block: for each B-scan that it has looked at a row of a few numbers. Nothing is
/// added up before all rows are there, so that parts merge in any order.
class TZM_EXPORT BlockFindings {
public:
    enum class Kind {
        Flag,    ///< 0 or 1; in JSON a boolean
        Integer, ///< an int
        Float    ///< a float; in JSON a number, or, if it isn't finite, its bits as eight hexadecimal digits
    };
    struct Column {
        std::string name;
        Kind kind;
    };
    /// What the rows of an algorithm hold.
    struct Table {
        std::string algorithm; ///< name of the class
        std::vector<Column> columns;
    };

    /// Findings of nothing, for algorithms that look at nothing.
    BlockFindings() = default;

    /// No rows yet. \param findingsTable stays where it is as long as the findings live
    BlockFindings(const Table& findingsTable, int blockBscans);

    /// Reads what ToJson has given, without loss. std::invalid_argument, with a text that tells what is wrong, for
    /// anything else: findings of another algorithm, a value that is missing, of another kind or out of range, a B-scan
    /// outside the block or told twice.
    BlockFindings(const Table& findingsTable, const Json::Value& json);

    /// {"Algorithm": .., "BlockBscans": .., "Bscans": [{"Bscan": index, a member per column}, ..]}
    Json::Value ToJson() const;

    /// Keeps the numbers of a B-scan, one per column. std::invalid_argument for a B-scan outside the block, another
    /// count of numbers or a number that isn't of its column's kind.
    void Put(int bscan, std::vector<double> numbers);

    /// Takes over the rows of another part. A B-scan that both have looked at has the same numbers in both.
    /// std::invalid_argument otherwise, and for findings of another algorithm or block; nothing has changed then.
    void Merge(const BlockFindings& other);

    /// The numbers of a B-scan; std::out_of_range if it hasn't been looked at.
    const std::vector<double>& Row(int bscan) const { return rows.at(bscan); }
    /// One of them, by the name of its column; std::out_of_range if there is none of that name.
    double Number(int bscan, const std::string& column) const;
    int BlockBscans() const { return bscanCount; }
    bool IsComplete() const { return rows.size() == static_cast<std::size_t>(bscanCount); }

    /// std::invalid_argument unless these are findings of that table on every B-scan of a block of that many.
    void RequireAll(const Table& findingsTable, int blockBscans) const;

private:
    const Table* table = nullptr;
    int bscanCount = 0;
    std::map<int, std::vector<double>> rows;
};

/// An algorithm whose Execute falls into a look at the block and the work on it. Execute is both on the whole block:
///     findings = Look(every part), merged in any order;   Work(every part, findings) = Execute(the block).
/// The parameters and documents are the same in all calls. An object runs one of them at a time, like Execute; copies
/// of it may run at once. A part consists of whole groups of channels if the algorithm tells channels apart, of 5 or 7
/// B-scans as GetChannelCount says of the block.
///
/// Both fail as Execute does; a failure that Execute meets before its output is touched comes from Look where the part
/// gives rise to it. std::invalid_argument for a part that isn't one of the block, and for findings that aren't on all
/// of it. What Execute logs of the block comes from the work on its first part, what it logs of a B-scan from that on
/// the part of the B-scan.
class TZM_EXPORT CouplesBlock {
public:
    virtual ~CouplesBlock();

    /// Whether parts know less than the block, with the parameters as they are. If not, Look may be left out, and Work
    /// takes findings of nothing.
    virtual bool IsCoupled() const { return true; }

    /// What is found in a part of the block.
    virtual BlockFindings Look(const float* in, const ImageProps& partProps, const BlockPart& part) const = 0;

    /// Computes a part of the output from the same part of the input. \param all what was found in the whole block
    virtual void Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all,
                      float* out, const ImageProps& outProps) const = 0;

    /// How many of the `samples` of an A-scan hold data in every B-scan of the output; all, where nobody says less.
    /// std::invalid_argument for findings that aren't on the whole block.
    virtual int UsableSamples(const BlockFindings& all, int samples) const;

    /// What Look finds.
    virtual const BlockFindings::Table& FindingsTable() const = 0;

    /// Findings of this algorithm from JSON; throws as the constructor of BlockFindings does.
    BlockFindings FindingsFromJson(const Json::Value& json) const { return {FindingsTable(), json}; }

protected:
    CouplesBlock() = default;
    CouplesBlock(const CouplesBlock&) = default;
    CouplesBlock& operator=(const CouplesBlock&) = default;
};

/// An algorithm that counts B-scans from the first one of the block: what it makes of a part depends on the place of
/// the part, and on nothing else outside it but the B-scans beside it that its coupling names.
class TZM_EXPORT CountsBscans {
public:
    virtual ~CountsBscans();

    /// Whether it does so with the parameters as they are; else it must see the whole block.
    virtual bool WorksInParts() const { return true; }

    /// Computes a part of what Execute gives for the block from the same part of the input. Fails like Execute, and
    /// with std::invalid_argument for a part that isn't one of the block.
    virtual void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                             const ImageProps& outProps) const = 0;

protected:
    CountsBscans() = default;
    CountsBscans(const CountsBscans&) = default;
    CountsBscans& operator=(const CountsBscans&) = default;
};

} // namespace TZM
