#include "Framework/AlgoParamBase.h"

namespace TZM {

void AlgoParamBase::PrmListener::Notify() { NotifyAll(owner->listeners); }

AlgoParamBase::AlgoParamBase(bool logs, int level) : enableLogging(logs), loggingLevel(level), prmListener(this) {}

AlgoParamBase::AlgoParamBase(const AlgoParamBase& other)
    : enableLogging(other.enableLogging), loggingLevel(other.loggingLevel), listeners(other.listeners),
      prmListener(this) {}

AlgoParamBase& AlgoParamBase::operator=(const AlgoParamBase& other) {
    enableLogging = other.enableLogging;
    loggingLevel = other.loggingLevel;
    listeners = other.listeners;
    return *this;
}

AlgoParamBase::~AlgoParamBase() = default;

void AlgoParamBase::AddListener(Listener* listener) { listeners.insert(listener); }

void AlgoParamBase::RemoveListener(Listener* listener) { listeners.erase(listener); }

void AlgoParamBase::NotifyAll(const std::set<Listener*>& listeners) {
    // The next one is looked up anew each time: an observer may leave, or let others enter, while it is told.
    for (auto next = listeners.begin(); next != listeners.end();) {
        Listener* const told = *next;
        if (told) told->Notify();
        next = listeners.upper_bound(told);
    }
}

} // namespace TZM
