#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <vector>

#include "observable/export.hpp"
#include "observable/observable.hpp"

namespace qel::observable {

class Graph;

/// Writes the graph as Graphviz DOT; arrows point from an observable to its inputs.
QEL_OBSERVABLE_EXPORT std::ostream& operator<<(std::ostream& stream, Graph const& graph);

/// The observables of one rule set and the order in which a frame visits them, the path: every observable stands behind
/// those whose events it reads. Independent observables keep the order in which they were added; the inputs of one
/// observable keep the order of its `GetDependents()`.
///
/// The inputs are asked for again at every change. An input that is not in the graph is passed over.
///
/// A change that closes a cycle throws `std::runtime_error` "A cycle within the rule was detected" and stays: the graph
/// holds the observable and the path is empty, until a later change succeeds. Every other failure leaves the graph as
/// it was. Null observables are refused with `std::invalid_argument`. A graph that was moved from throws
/// `std::logic_error` "Pimpl is null".
///
/// What a log sink or an observable's `GetDependents()` throws passes through.
///
/// Takes no lock: one thread at a time.
class QEL_OBSERVABLE_EXPORT Graph {
public:
    /// Without observables. A graph is moved, never copied.
    Graph();
    Graph(Graph&& other) noexcept;
    Graph& operator=(Graph&&) = delete;
    ~Graph();

    /// Logs a line, then throws `std::runtime_error` "Observable already added" when the id is known.
    void Add(std::shared_ptr<Observable> observable);
    /// To be called when the inputs of an observable have changed. Throws `std::runtime_error` "Cannot update
    /// observable that has not been added" when the id is not known.
    void Update(std::shared_ptr<Observable> observable);
    /// Throws `std::runtime_error` when the id is not known or another observable depends on it.
    void Remove(std::shared_ptr<Observable> observable);

    /// Whether there is an observable with this id.
    bool HaveVertex(unsigned int id) const;
    /// The place of an observable in the order of adding. Throws `std::runtime_error` "No vertex for observable: 7".
    std::size_t GetVertex(unsigned int id) const;
    /// The first observable with this id in the order of adding. Throws what `GetVertex` throws. Valid until the next
    /// change.
    std::shared_ptr<Observable> const& GetObservable(unsigned int id) const;

    /// Asks every observable for its inputs and orders them anew.
    void UpdatePath();
    /// Valid until the next change.
    std::vector<std::shared_ptr<Observable>> const& GetPath() const;

    friend std::ostream& operator<<(std::ostream& stream, Graph const& graph);

private:
    class Impl;

    std::unique_ptr<Impl> impl;
};

/// Whether the id is among the ids that an observable depends on.
QEL_OBSERVABLE_EXPORT bool HasDependency(std::vector<unsigned int> const& dependents, unsigned int id);

}  // namespace qel::observable
