#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace qel::tests {

/// An observable of a rule set: its id and the ids of its inputs.
struct PathNode {
    unsigned int id;
    std::vector<unsigned int> inputs;
};

/// The order in which a rule set is visited, as places in `nodes`, or nothing where there is a cycle: every node is
/// placed behind its inputs, taken in their order, and earlier nodes come first. Of two nodes with one id the later is
/// the input. Slow and obvious; tests compare the graph with it.
class PathModel {
public:
    static std::optional<std::vector<std::size_t>> Sort(std::vector<PathNode> const& nodes) {
        PathModel model(nodes);
        for (std::size_t node = 0; node < nodes.size(); ++node) {
            if (!model.Place(node)) {
                return std::nullopt;
            }
        }
        return model.order;
    }

    /// The place of the node that stands for an id, or nothing.
    static std::optional<std::size_t> Find(std::vector<PathNode> const& nodes, unsigned int id) {
        std::optional<std::size_t> found;
        for (std::size_t node = 0; node < nodes.size(); ++node) {
            if (nodes[node].id == id) {
                found = node;
            }
        }
        return found;
    }

private:
    enum class State { New, Open, Placed };

    explicit PathModel(std::vector<PathNode> const& nodes) : nodes(nodes), states(nodes.size(), State::New) {}

    bool Place(std::size_t node) {
        if (states[node] != State::New) {
            return states[node] == State::Placed;
        }
        states[node] = State::Open;
        for (unsigned int const id : nodes[node].inputs) {
            auto const input = Find(nodes, id);
            if (input && !Place(*input)) {
                return false;
            }
        }
        states[node] = State::Placed;
        order.push_back(node);
        return true;
    }

    std::vector<PathNode> const& nodes;
    std::vector<State> states;
    std::vector<std::size_t> order;
};

}  // namespace qel::tests
