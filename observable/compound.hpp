#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/hash/murmur_three_32.hpp"
#include "observable/export.hpp"
#include "observable/observable.hpp"

namespace qel::observable {

/// An observable that is made of a private chain of others, which the user sees as one.
///
/// The chain is made when it is first needed and kept. For each frame it runs over a copy of the frame in which every
/// member sees the events of those before it; the frame itself sees nothing of them. The last member's events are what
/// the compound reports, under its own name and type: its metadata record in place of those of the members, and of
/// several channel records the last.
///
/// Members belong to no notifier. The last member has the compound's name from
/// `GetObservables()` and `Process` on. What members throw passes through; when a frame fails, those that had their
/// turn have seen it.
///
/// No locks: the notifier serialises the calls.
class QEL_OBSERVABLE_EXPORT Compound : public Observable {
public:
    /// `type` is the id of the subclass's type name.
    explicit Compound(hash::MurmurThree32 type);

    /// Resets the members in order; makes no chain.
    void Reset() override;
    /// What the members depend on outside the chain, once for each member that names it.
    std::vector<unsigned int> GetDependents() const override;
    ~Compound() override;
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override;

    // The order of the virtual members is part of the interface that plug-ins are built against.

    /// The chain in the order in which it runs. A chain with a null is refused with `std::logic_error` by whatever
    /// asked for it, and so is, except by `GetDependents`, one without a member.
    virtual std::vector<std::shared_ptr<Observable>> MakeObservables() const = 0;
    /// The type text of every event that the compound reports.
    virtual std::string GetEventType() const = 0;

    /// The chain, made when it is not there yet, its last member renamed.
    std::vector<std::shared_ptr<Observable>> const& GetObservables();
    std::vector<std::shared_ptr<Observable>> const& GetObservables() const;

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

}  // namespace qel::observable
