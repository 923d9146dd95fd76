#include "observable/graph.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <boost/graph/topological_sort.hpp>

#include "foundation/logging/logger.hpp"
#include "foundation/type/container/id_table.hpp"
#include "foundation/type/pimpl.hpp"
#include "observable/detail/refuse_null.hpp"

namespace qel::observable {

namespace {

logging::Logger const logger("qel.observable.Graph");

}  // namespace

class Graph::Impl {
public:
    using Observables = std::vector<std::shared_ptr<Observable>>;
    /// From an observable to one that it reads, as places in the order of adding.
    using Edge = std::pair<std::size_t, std::size_t>;

    bool HaveVertex(unsigned int id) const { return Find(id) < vertices.size(); }

    std::size_t GetVertex(unsigned int id) const {
        std::size_t const vertex = Find(id);
        if (vertex == vertices.size()) {
            throw std::runtime_error("No vertex for observable: " + std::to_string(id));
        }
        return vertex;
    }

    /// The first vertex in the order of adding whose observable depends on the id, other than `skipped`; or the number
    /// of vertices.
    std::size_t FindDependent(unsigned int id, std::size_t skipped) const {
        std::size_t vertex = 0;
        while (vertex < vertices.size() &&
               (vertex == skipped || !HasDependency(vertices[vertex]->GetDependents(), id))) {
            ++vertex;
        }
        return vertex;
    }

    /// Connects the vertices of `changed` and takes them over with the path that follows from them.
    void Take(Observables changed);

    Observables vertices;
    std::vector<Edge> edges;  // source by source, those of one in the order of its inputs
    Observables path;

private:
    std::size_t Find(unsigned int id) const {
        auto const found = std::find_if(vertices.begin(), vertices.end(),
                                        [id](auto const& observable) { return observable->GetId() == id; });
        return static_cast<std::size_t>(found - vertices.begin());
    }

    std::vector<Edge> Connect(Observables const& observables);
    bool OnlyAdds(Observables const& changed, std::vector<Edge> const& connected) const;
    static Observables Sort(Observables const& observables, std::vector<Edge> const& connected);

    type::container::IdTable places;  // while connecting; kept for its memory
};

void Graph::Impl::Take(Observables changed) {
    auto connected = Connect(changed);
    Observables sorted;
    if (OnlyAdds(changed, connected)) {
        path.reserve(changed.size());
        path.insert(path.end(), changed.begin() + static_cast<std::ptrdiff_t>(vertices.size()), changed.end());
        sorted.swap(path);
    } else {
        try {
            sorted = Sort(changed, connected);
        } catch (boost::not_a_dag const&) {
            std::runtime_error const cycle("A cycle within the rule was detected");
            // The cycle stays in the graph and no observable is visited: hosts mend the inputs and update.
            vertices.swap(changed);
            edges.swap(connected);
            path.clear();
            throw cycle;
        }
    }
    vertices.swap(changed);
    edges.swap(connected);
    path.swap(sorted);
}

std::vector<Graph::Impl::Edge> Graph::Impl::Connect(Observables const& observables) {
    places.Clear();
    for (std::size_t vertex = 0; vertex < observables.size(); ++vertex) {
        places.Set(observables[vertex]->GetId(), static_cast<std::uint32_t>(vertex));
    }
    std::vector<Edge> connected;
    connected.reserve(edges.size() + 2);
    for (std::size_t vertex = 0; vertex < observables.size(); ++vertex) {
        for (unsigned int const input : observables[vertex]->GetDependents()) {
            if (auto const place = places.Find(input); place != type::container::IdTable::None) {
                connected.emplace_back(vertex, place);
            }
        }
    }
    return connected;
}

/// Whether the path stays as it is and what is new comes behind it: nobody's inputs have changed, and those of the new
/// observables stand in the path already. A rule set that is built up inputs first so needs no search at every step.
bool Graph::Impl::OnlyAdds(Observables const& changed, std::vector<Edge> const& connected) const {
    return path.size() == vertices.size() && changed.size() >= vertices.size() && connected.size() >= edges.size() &&
           std::equal(edges.begin(), edges.end(), connected.begin()) &&
           std::all_of(
               connected.begin() + static_cast<std::ptrdiff_t>(edges.size()), connected.end(),
               [this](Edge const& edge) { return edge.first >= vertices.size() && edge.second < vertices.size(); });
}

Graph::Impl::Observables Graph::Impl::Sort(Observables const& observables, std::vector<Edge> const& connected) {
    boost::compressed_sparse_row_graph<boost::directedS> const graph(boost::edges_are_sorted, connected.begin(),
                                                                     connected.end(), observables.size());
    std::vector<std::size_t> order;
    order.reserve(observables.size());
    // Edges point to the inputs, so the order in which the search finishes vertices is the one wanted.
    boost::topological_sort(graph, std::back_inserter(order));
    Observables sorted;
    sorted.reserve(order.size());
    std::transform(order.begin(), order.end(), std::back_inserter(sorted),
                   [&](std::size_t vertex) { return observables[vertex]; });
    return sorted;
}

Graph::Graph() : impl(std::make_unique<Impl>()) {}

Graph::Graph(Graph&& other) noexcept = default;

Graph::~Graph() = default;

void Graph::Add(std::shared_ptr<Observable> observable) {
    detail::RefuseNull(observable, "Graph::Add");
    auto& state = type::Deref(impl);
    logger.Log(logging::Level::Info, "Updating graph with observable [%0%]", observable->GetId());
    if (state.HaveVertex(observable->GetId())) {
        throw std::runtime_error("Observable already added");
    }
    Impl::Observables changed;
    changed.reserve(state.vertices.size() + 1);
    changed.assign(state.vertices.begin(), state.vertices.end());
    changed.push_back(std::move(observable));
    state.Take(std::move(changed));
}

void Graph::Update(std::shared_ptr<Observable> observable) {
    detail::RefuseNull(observable, "Graph::Update");
    if (!HaveVertex(observable->GetId())) {
        throw std::runtime_error("Cannot update observable that has not been added");
    }
    UpdatePath();
}

void Graph::Remove(std::shared_ptr<Observable> observable) {
    detail::RefuseNull(observable, "Graph::Remove");
    unsigned int const id = observable->GetId();
    if (!HaveVertex(id)) {
        throw std::runtime_error("Cannot remove observable that has not been added");
    }
    auto& state = type::Deref(impl);
    std::size_t const vertex = state.GetVertex(id);
    std::size_t const dependent = state.FindDependent(id, vertex);
    if (dependent < state.vertices.size()) {
        throw std::runtime_error("Cannot remove observable: " + std::to_string(id) + " as another observable: " +
                                 std::to_string(state.vertices[dependent]->GetId()) + " depends on it");
    }
    auto changed = state.vertices;
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(vertex));
    state.Take(std::move(changed));
}

bool Graph::HaveVertex(unsigned int id) const { return type::Deref(impl).HaveVertex(id); }

std::size_t Graph::GetVertex(unsigned int id) const { return type::Deref(impl).GetVertex(id); }

std::shared_ptr<Observable> const& Graph::GetObservable(unsigned int id) const {
    auto const& state = type::Deref(impl);
    return state.vertices[state.GetVertex(id)];
}

void Graph::UpdatePath() {
    auto& state = type::Deref(impl);
    state.Take(state.vertices);
}

std::vector<std::shared_ptr<Observable>> const& Graph::GetPath() const { return type::Deref(impl).path; }

std::ostream& operator<<(std::ostream& stream, Graph const& graph) {
    auto const& state = type::Deref(graph.impl);
    auto const id = [&](std::size_t vertex) { return std::to_string(state.vertices[vertex]->GetId()); };
    stream << "digraph G {\n";
    for (std::size_t vertex = 0; vertex < state.vertices.size(); ++vertex) {
        stream << id(vertex) << ";\n";
    }
    for (auto const& [source, target] : state.edges) {
        stream << id(source) << "->" << id(target) << " ;\n";
    }
    return stream << "}\n";
}

bool HasDependency(std::vector<unsigned int> const& dependents, unsigned int id) {
    return std::find(dependents.begin(), dependents.end(), id) != dependents.end();
}

}  // namespace qel::observable
