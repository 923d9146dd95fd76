#include "observable/graph.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/topological_sort.hpp>

#include "foundation/logging/logger.hpp"
#include "foundation/type/pimpl.hpp"
#include "observable/detail/refuse_null.hpp"

namespace qel::observable {

struct Graph::Element {
    std::shared_ptr<Observable> observable;
};

namespace {

logging::Logger const logger("qel.observable.Graph");
}  // namespace

class Graph::Impl {
public:
    using Storage = boost::adjacency_list<boost::vecS, boost::vecS, boost::directedS, Element>;
    using Path = std::vector<std::shared_ptr<Observable>>;

    bool HaveVertex(unsigned int id) const { return Find(id) < Size(); }

    std::size_t GetVertex(unsigned int id) const {
        std::size_t const vertex = Find(id);
        if (vertex == Size()) {
            throw std::runtime_error("No vertex for observable: " + std::to_string(id));
        }
        return vertex;
    }

    /// The first vertex in the order of adding whose observable depends on the id, other than `skipped`; or `Size()`.
    std::size_t FindDependent(unsigned int id, std::size_t skipped) const {
        std::size_t vertex = 0;
        while (vertex < Size() &&
               (vertex == skipped || !HasDependency(storage[vertex].observable->GetDependents(), id))) {
            ++vertex;
        }
        return vertex;
    }

    /// Gives the vertices of `changed` their edges and takes them over with the path that follows from them.
    void Take(Storage changed);

    Storage storage;
    Path path;

private:
    std::size_t Size() const { return boost::num_vertices(storage); }

    std::size_t Find(unsigned int id) const {
        std::size_t vertex = 0;
        while (vertex < Size() && storage[vertex].observable->GetId() != id) {
            ++vertex;
        }
        return vertex;
    }

    static void Connect(Storage& storage);
    static Path Sort(Storage const& storage);
};

void Graph::Impl::Take(Storage changed) {
    Connect(changed);
    Path sorted;
    try {
        sorted = Sort(changed);
    } catch (boost::not_a_dag const&) {
        // The cycle stays in the graph and no observable is visited: hosts mend the inputs and update.
        storage.swap(changed);
        path.clear();
        throw std::runtime_error("A cycle within the rule was detected");
    }
    storage.swap(changed);
    path.swap(sorted);
}

void Graph::Impl::Connect(Storage& storage) {
    std::size_t const size = boost::num_vertices(storage);
    std::map<unsigned int, std::size_t> vertices;
    for (std::size_t vertex = 0; vertex < size; ++vertex) {
        boost::clear_out_edges(vertex, storage);
        vertices[storage[vertex].observable->GetId()] = vertex;
    }
    for (std::size_t vertex = 0; vertex < size; ++vertex) {
        for (unsigned int const input : storage[vertex].observable->GetDependents()) {
            if (auto const found = vertices.find(input); found != vertices.end()) {
                boost::add_edge(vertex, found->second, storage);
            }
        }
    }
}

Graph::Impl::Path Graph::Impl::Sort(Storage const& storage) {
    std::vector<std::size_t> order;
    // Edges point to the inputs, so the order in which the search finishes vertices is the one wanted.
    boost::topological_sort(storage, std::back_inserter(order));
    Path sorted;
    sorted.reserve(order.size());
    std::transform(order.begin(), order.end(), std::back_inserter(sorted),
                   [&](std::size_t vertex) { return storage[vertex].observable; });
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
    auto changed = state.storage;
    boost::add_vertex(Element{std::move(observable)}, changed);
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
    if (dependent < boost::num_vertices(state.storage)) {
        throw std::runtime_error("Cannot remove observable: " + std::to_string(id) + " as another observable: " +
                                 std::to_string(state.storage[dependent].observable->GetId()) + " depends on it");
    }
    auto changed = state.storage;
    boost::clear_vertex(vertex, changed);
    boost::remove_vertex(vertex, changed);
    state.Take(std::move(changed));
}

bool Graph::HaveVertex(unsigned int id) const { return type::Deref(impl).HaveVertex(id); }

std::size_t Graph::GetVertex(unsigned int id) const { return type::Deref(impl).GetVertex(id); }

std::shared_ptr<Observable> const& Graph::GetObservable(unsigned int id) const {
    auto const& state = type::Deref(impl);
    return state.storage[state.GetVertex(id)].observable;
}

void Graph::UpdatePath() {
    auto& state = type::Deref(impl);
    state.Take(state.storage);
}

std::vector<std::shared_ptr<Observable>> const& Graph::GetPath() const { return type::Deref(impl).path; }

std::ostream& operator<<(std::ostream& stream, Graph const& graph) {
    auto const& storage = type::Deref(graph.impl).storage;
    auto const id = [&](std::size_t vertex) { return std::to_string(storage[vertex].observable->GetId()); };
    stream << "digraph G {\n";
    for (std::size_t vertex = 0; vertex < boost::num_vertices(storage); ++vertex) {
        stream << id(vertex) << ";\n";
    }
    // Edges of the whole graph come source by source, in the order in which they were added.
    for (auto [edge, end] = boost::edges(storage); edge != end; ++edge) {
        stream << id(boost::source(*edge, storage)) << "->" << id(boost::target(*edge, storage)) << " ;\n";
    }
    return stream << "}\n";
}

bool HasDependency(std::vector<unsigned int> const& dependents, unsigned int id) {
    return std::find(dependents.begin(), dependents.end(), id) != dependents.end();
}

}  // namespace qel::observable
