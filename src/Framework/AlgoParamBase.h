#pragma once

#include <set>

#include "Array/Export.h"

namespace TZM {

/// Base of all parameter structs: the logging options, and the observers to be told of a changed parameter.
///
/// A derived struct holds each value as a Prm bound to prmListener and writes no copy operation. A copy takes values
/// and observers, but its Prm members notify nobody, so that a change of the copy stays its own affair. An assignment
/// takes over the observers first and then every value, each of which notifies, whether it differs or not.
struct TZM_EXPORT AlgoParamBase {
    /// To be told that a parameter has changed.
    class TZM_EXPORT Listener {
    public:
        virtual void Notify() = 0;

    protected:
        ~Listener() = default; // nobody deletes an observer through this interface
    };

    /// Passes what a Prm tells on to all observers of the struct that embeds it.
    class TZM_EXPORT PrmListener final : public Listener {
    public:
        explicit PrmListener(const AlgoParamBase* embedding) : owner(embedding) {}
        PrmListener(const PrmListener&) = delete;
        PrmListener& operator=(const PrmListener&) = delete;
        void Notify() override;

    private:
        const AlgoParamBase* owner;
    };

    explicit AlgoParamBase(bool logs = true, int level = 1);
    AlgoParamBase(const AlgoParamBase& other);
    AlgoParamBase& operator=(const AlgoParamBase& other);
    virtual ~AlgoParamBase();

    /// Lets an observer, which the struct doesn't own, enter or leave; one that is in stays in once. Both may be
    /// called from within Notify().
    void AddListener(Listener* listener);
    void RemoveListener(Listener* listener);

    /// Calls every non-null listener, in ascending order of the pointers.
    static void NotifyAll(const std::set<Listener*>& listeners);

    bool enableLogging;            ///< the algorithm may write its log lines
    int loggingLevel;              ///< carried along, nothing depends on it
    std::set<Listener*> listeners; ///< observers of this struct
    PrmListener prmListener;       ///< always bound to this struct
};

} // namespace TZM
