#include "observable/graph.hpp"

#include <cstddef>
#include <functional>
#include <locale>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_capture.hpp"
#include "tests/support/path_model.hpp"
#include "tests/support/random.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using tests::Scripted;

using Ids = std::vector<unsigned int>;

constexpr char const* CycleError = "A cycle within the rule was detected";

std::shared_ptr<Scripted> Make(unsigned int id, Ids inputs = {}) {
    auto observable = std::make_shared<Scripted>();
    observable->SetId(id);
    observable->dependents = std::move(inputs);
    return observable;
}

std::shared_ptr<Scripted> AddTo(Graph& graph, unsigned int id, Ids inputs = {}) {
    auto observable = Make(id, std::move(inputs));
    graph.Add(observable);
    return observable;
}

Ids PathOf(Graph const& graph) {
    Ids ids;
    for (auto const& observable : graph.GetPath()) {
        ids.push_back(observable->GetId());
    }
    return ids;
}

std::string TextOf(Graph const& graph) {
    std::ostringstream text;
    text << graph;
    return text.str();
}

/// An observable that refuses to tell its inputs while `isBroken`.
class Broken : public Scripted {
public:
    std::vector<unsigned int> GetDependents() const override {
        ++asked;
        if (isBroken) {
            throw std::domain_error("no inputs today");
        }
        return Scripted::GetDependents();
    }

    bool isBroken = true;
    mutable std::size_t asked = 0;
};

std::shared_ptr<Broken> MakeBroken(unsigned int id) {
    auto observable = std::make_shared<Broken>();
    observable->SetId(id);
    return observable;
}

// ---- The order of the path ------------------------------------------------------------------------------------------

struct Order {
    char const* name;
    std::vector<tests::PathNode> added;  // in this order
    Ids path;
    std::vector<std::string> edges;
};

class GraphOrderTest : public testing::TestWithParam<Order> {};

TEST_P(GraphOrderTest, PutsInputsBeforeTheirConsumersAndElseKeepsTheOrderOfAdding) {
    Graph graph;
    std::string text = "digraph G {\n";
    for (auto const& node : GetParam().added) {
        AddTo(graph, node.id, node.inputs);
        text += std::to_string(node.id) + ";\n";
    }
    for (auto const& edge : GetParam().edges) {
        text += edge + " ;\n";
    }

    EXPECT_EQ(PathOf(graph), GetParam().path);
    EXPECT_EQ(TextOf(graph), text + "}\n");
}

INSTANTIATE_TEST_SUITE_P(
    Independent, GraphOrderTest,
    testing::Values(Order{"OneAlone", {{5, {}}}, {5}, {}},
                    Order{"InTheOrderOfAddingNotOfIds", {{9, {}}, {2, {}}, {7, {}}}, {9, 2, 7}, {}},
                    Order{"TheUnsetIdIsAnIdLikeOthers", {{0xFFFFFFFF, {}}, {0, {}}}, {0xFFFFFFFF, 0}, {}}),
    [](auto const& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Dependent, GraphOrderTest,
    testing::Values(
        Order{"InputAddedFirst", {{2, {}}, {1, {2}}}, {2, 1}, {"1->2"}},
        Order{"InputAddedLast", {{1, {2}}, {2, {}}}, {2, 1}, {"1->2"}},
        Order{"InputsInTheOrderOfTheList",
              {{1, {4, 2, 3}}, {2, {}}, {3, {}}, {4, {}}},
              {4, 2, 3, 1},
              {"1->4", "1->2", "1->3"}},
        Order{"InputsThatStandEarlierStayThere", {{3, {}}, {1, {2, 3}}, {2, {}}}, {3, 2, 1}, {"1->2", "1->3"}},
        Order{"AnInputIsPlacedRightBeforeItsFirstConsumer",
              {{1, {}}, {2, {4}}, {3, {}}, {4, {}}},
              {1, 4, 2, 3},
              {"2->4"}},
        Order{"AChainAddedBackwards", {{1, {2}}, {2, {3}}, {3, {4}}, {4, {}}}, {4, 3, 2, 1}, {"1->2", "2->3", "3->4"}},
        Order{"ADiamond", {{1, {2, 3}}, {2, {4}}, {3, {4}}, {4, {}}}, {4, 2, 3, 1}, {"1->2", "1->3", "2->4", "3->4"}},
        Order{"TheInputsOfAnInputComeBeforeTheNextInput",
              {{1, {2, 3}}, {3, {}}, {2, {5}}, {5, {}}},
              {5, 2, 3, 1},
              {"1->2", "1->3", "2->5"}},
        Order{
            "TheSecondInputIsAnInputOfTheFirst", {{1, {2, 3}}, {2, {3}}, {3, {}}}, {3, 2, 1}, {"1->2", "1->3", "2->3"}},
        Order{"TheUnsetIdIsAnInputLikeOthers",
              {{1, {0xFFFFFFFF}}, {0xFFFFFFFF, {}}},
              {0xFFFFFFFF, 1},
              {"1->4294967295"}}),
    [](auto const& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OddLists, GraphOrderTest,
    testing::Values(
        Order{"ARepeatedInputIsARepeatedEdge", {{7, {5, 5}}, {5, {}}}, {5, 7}, {"7->5", "7->5"}},
        Order{"RepeatedInputsKeepTheirOrder", {{7, {5, 6, 5}}, {6, {}}, {5, {}}}, {5, 6, 7}, {"7->5", "7->6", "7->5"}},
        Order{"AMissingInputIsPassedOver", {{1, {99}}, {2, {}}}, {1, 2}, {}},
        Order{
            "MissingInputsAmongOthers", {{1, {99, 2, 0xFFFFFFFF, 3}}, {3, {}}, {2, {}}}, {2, 3, 1}, {"1->2", "1->3"}}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(GraphTest, IsEmptyAtFirst) {
    Graph const graph;
    EXPECT_THAT(graph.GetPath(), IsEmpty());
    EXPECT_EQ(TextOf(graph), "digraph G {\n}\n");
    EXPECT_FALSE(graph.HaveVertex(0));
}

TEST(GraphTest, PathHoldsTheObservablesThemselves) {
    Graph graph;
    auto const consumer = AddTo(graph, 1, {2});
    auto const input = AddTo(graph, 2);
    EXPECT_THAT(graph.GetPath(), ElementsAre(input, consumer));
}

TEST(GraphTest, KeepsObservablesAliveUntilTheyAreRemoved) {
    std::weak_ptr<Scripted> first;
    std::weak_ptr<Scripted> second;
    {
        Graph graph;
        first = AddTo(graph, 1);
        second = AddTo(graph, 2);
        EXPECT_FALSE(first.expired());

        graph.Remove(first.lock());
        EXPECT_TRUE(first.expired());
        EXPECT_FALSE(second.expired());
    }
    EXPECT_TRUE(second.expired());
}

// ---- Changes --------------------------------------------------------------------------------------------------------

TEST(GraphTest, LogsWhatIsAdded) {
    tests::LogCapture capture;
    Graph graph;
    AddTo(graph, 4294967295);
    AddTo(graph, 0);
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Graph 4: Updating graph with observable [4294967295]",
                                            "qel.observable.Graph 4: Updating graph with observable [0]"));
}

TEST(GraphTest, LogsNothingElse) {
    Graph graph;
    auto const observable = AddTo(graph, 1);
    tests::LogCapture capture;
    graph.Update(observable);
    graph.UpdatePath();
    graph.Remove(observable);
    EXPECT_THROW(graph.Update(observable), std::runtime_error);
    EXPECT_THROW(graph.Remove(observable), std::runtime_error);
    EXPECT_THROW(graph.GetVertex(1), std::runtime_error);
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST(GraphTest, RefusesAKnownIdAfterLoggingIt) {
    Graph graph;
    auto const first = AddTo(graph, 7);
    AddTo(graph, 8, {7});
    auto const before = TextOf(graph);

    tests::LogCapture capture;
    EXPECT_THAT([&] { graph.Add(Make(7, {8})); }, ThrowsMessage<std::runtime_error>("Observable already added"));
    EXPECT_THAT([&] { graph.Add(first); }, ThrowsMessage<std::runtime_error>("Observable already added"));
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Graph 4: Updating graph with observable [7]",
                                            "qel.observable.Graph 4: Updating graph with observable [7]"));
    EXPECT_EQ(TextOf(graph), before);
    EXPECT_THAT(PathOf(graph), ElementsAre(7, 8));
    EXPECT_EQ(graph.GetPath().front(), first);
}

TEST(GraphTest, StaysAsItWasWhenTheLogSinkThrows) {
    Graph graph;
    AddTo(graph, 1);
    {
        tests::LogCapture const capture([](std::string const&) { throw std::domain_error("disk full"); });
        EXPECT_THAT([&] { AddTo(graph, 2); }, ThrowsMessage<std::domain_error>("disk full"));
    }
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
}

TEST(GraphTest, AnUpdateReordersThePath) {
    Graph graph;
    auto const first = AddTo(graph, 1);
    auto const second = AddTo(graph, 2, {1});
    EXPECT_THAT(PathOf(graph), ElementsAre(1, 2));

    first->dependents = {2};
    second->dependents = {};
    EXPECT_THAT(PathOf(graph), ElementsAre(1, 2)) << "inputs are asked for at changes only";
    graph.Update(first);

    EXPECT_THAT(PathOf(graph), ElementsAre(2, 1));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n1->2 ;\n}\n");
}

TEST(GraphTest, AnUpdateAsksEveryObservableForItsInputs) {
    Graph graph;
    auto const first = AddTo(graph, 1);
    auto const second = AddTo(graph, 2);
    first->dependents = {2};
    graph.Update(second);
    EXPECT_THAT(PathOf(graph), ElementsAre(2, 1));
}

TEST(GraphTest, AnUpdateByAnotherObservableOfTheSameIdKeepsTheOneThatWasAdded) {
    Graph graph;
    auto const added = AddTo(graph, 1);
    graph.Update(Make(1, {1}));
    EXPECT_THAT(graph.GetPath(), ElementsAre(added));
}

TEST(GraphTest, RefusesAnUpdateOfAnUnknownId) {
    Graph graph;
    auto const known = AddTo(graph, 1);
    known->dependents = {1};
    EXPECT_THAT([&] { graph.Update(Make(2)); },
                ThrowsMessage<std::runtime_error>("Cannot update observable that has not been added"));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n") << "the inputs have not been asked for again";
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
}

TEST(GraphTest, RefusesARemovalOfAnUnknownId) {
    Graph graph;
    auto const known = AddTo(graph, 1);
    known->dependents = {1};
    EXPECT_THAT([&] { graph.Remove(Make(2)); },
                ThrowsMessage<std::runtime_error>("Cannot remove observable that has not been added"));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
}

TEST(GraphTest, ARemovalIsByIdOfWhateverObservable) {
    Graph graph;
    AddTo(graph, 1);
    AddTo(graph, 2);
    graph.Remove(Make(1, {2}));
    EXPECT_THAT(PathOf(graph), ElementsAre(2));
}

TEST(GraphTest, ARemovedObservableMayBeAddedAgainBehindTheOthers) {
    Graph graph;
    auto const first = AddTo(graph, 1);
    AddTo(graph, 2);
    graph.Remove(first);
    graph.Add(first);
    EXPECT_THAT(PathOf(graph), ElementsAre(2, 1));
}

TEST(GraphTest, NamesTheFirstDependentInTheOrderOfAddingWhenItRefusesARemoval) {
    Graph graph;
    AddTo(graph, 8, {12});
    auto const input = AddTo(graph, 7, {8});
    auto const second = AddTo(graph, 30, {99, 7});
    auto const third = AddTo(graph, 4, {30, 7, 7});
    auto const before = TextOf(graph);

    EXPECT_THAT(
        [&] { graph.Remove(input); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 7 as another observable: 30 depends on it"));
    EXPECT_EQ(TextOf(graph), before);
    EXPECT_THAT(PathOf(graph), ElementsAre(8, 7, 30, 4));

    graph.Remove(third);
    graph.Remove(second);
    graph.Remove(input);
    EXPECT_EQ(TextOf(graph), "digraph G {\n8;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(8));
}

TEST(GraphTest, AsksForTheInputsOfTheMomentWhenItRemoves) {
    Graph graph;
    auto const input = AddTo(graph, 1);
    auto const consumer = AddTo(graph, 2, {1});
    consumer->dependents = {};
    graph.Remove(input);
    EXPECT_EQ(TextOf(graph), "digraph G {\n2;\n}\n");

    graph.Add(input);
    consumer->dependents = {1};
    EXPECT_THAT(
        [&] { graph.Remove(input); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 1 as another observable: 2 depends on it"));
    EXPECT_EQ(TextOf(graph), "digraph G {\n2;\n1;\n}\n") << "a refusal does not rebuild the edges";
}

TEST(GraphTest, AnEdgeThatIsOutOfDateGoesWithTheInputThatIsRemoved) {
    Graph graph;
    auto const consumer = AddTo(graph, 1, {2});
    auto const input = AddTo(graph, 2);
    consumer->dependents = {};
    graph.Remove(input);
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
}

TEST(GraphTest, AMissingInputDoesNotKeepAnObservableFromBeingRemoved) {
    Graph graph;
    auto const observable = AddTo(graph, 1, {99});
    graph.Remove(observable);
    EXPECT_THAT(PathOf(graph), IsEmpty());
}

TEST(GraphTest, ARemovalInTheMiddleRenumbersTheEdgesOfTheOthers) {
    Graph graph;
    AddTo(graph, 1, {5});
    AddTo(graph, 2);
    auto const middle = AddTo(graph, 3, {1, 5});
    AddTo(graph, 4, {2, 5, 1});
    AddTo(graph, 5);
    EXPECT_EQ(graph.GetVertex(5), 4u);

    graph.Remove(middle);

    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n4;\n5;\n1->5 ;\n4->2 ;\n4->5 ;\n4->1 ;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(5, 1, 2, 4));
    EXPECT_EQ(graph.GetVertex(2), 1u);
    EXPECT_EQ(graph.GetVertex(4), 2u);
    EXPECT_EQ(graph.GetVertex(5), 3u);
    EXPECT_FALSE(graph.HaveVertex(3));
}

TEST(GraphTest, FindsObservablesByTheirIdsOfTheMoment) {
    Graph graph;
    auto const first = AddTo(graph, 10);
    AddTo(graph, 20);
    EXPECT_TRUE(graph.HaveVertex(10));
    EXPECT_TRUE(graph.HaveVertex(20));
    EXPECT_FALSE(graph.HaveVertex(0));
    EXPECT_EQ(graph.GetVertex(10), 0u);
    EXPECT_EQ(graph.GetVertex(20), 1u);

    first->SetId(11);
    EXPECT_FALSE(graph.HaveVertex(10));
    EXPECT_EQ(graph.GetVertex(11), 0u);
    EXPECT_THAT([&] { (void)graph.GetVertex(4294967295); },
                ThrowsMessage<std::runtime_error>("No vertex for observable: 4294967295"));
}

// ---- Cycles ---------------------------------------------------------------------------------------------------------

TEST(GraphTest, AnObservableThatListsItselfIsACycleAndStays) {
    Graph graph;
    AddTo(graph, 1);
    auto const own = Make(2, {1, 2});
    EXPECT_THAT([&] { graph.Add(own); }, ThrowsMessage<std::runtime_error>(CycleError));

    EXPECT_THAT(PathOf(graph), IsEmpty());
    EXPECT_TRUE(graph.HaveVertex(2));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n2->1 ;\n2->2 ;\n}\n") << "the edges have been rebuilt";
}

TEST(GraphTest, AnObservableThatListsOnlyItselfCanBeRemoved) {
    Graph graph;
    AddTo(graph, 1);
    auto const own = Make(2, {2});
    EXPECT_THROW(graph.Add(own), std::runtime_error);
    graph.Remove(own);
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n");
}

TEST(GraphTest, TwoObservablesThatListEachOtherCannotBeRemovedButMended) {
    Graph graph;
    auto const first = AddTo(graph, 1, {2});
    auto const second = Make(2, {1});
    EXPECT_THAT([&] { graph.Add(second); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n1->2 ;\n2->1 ;\n}\n");

    EXPECT_THAT(
        [&] { graph.Remove(first); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 1 as another observable: 2 depends on it"));
    EXPECT_THAT(
        [&] { graph.Remove(second); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 2 as another observable: 1 depends on it"));
    EXPECT_THAT(PathOf(graph), IsEmpty());

    first->dependents = {};
    graph.Update(first);
    EXPECT_THAT(PathOf(graph), ElementsAre(1, 2));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n2->1 ;\n}\n");
}

TEST(GraphTest, EveryChangeFailsButTakesPlaceWhileThereIsACycle) {
    Graph graph;
    auto const bystander = AddTo(graph, 1);
    auto const own = Make(2, {2});
    EXPECT_THROW(graph.Add(own), std::runtime_error);

    EXPECT_THAT([&] { AddTo(graph, 3, {1}); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_THAT([&] { graph.Update(bystander); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_THAT([&] { graph.UpdatePath(); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n3;\n2->2 ;\n3->1 ;\n}\n");
    EXPECT_THAT([&] { graph.Remove(Make(3)); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_THAT([&] { graph.Remove(bystander); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_EQ(TextOf(graph), "digraph G {\n2;\n2->2 ;\n}\n");
    EXPECT_THAT(PathOf(graph), IsEmpty());

    own->dependents = {};
    graph.UpdatePath();
    EXPECT_THAT(PathOf(graph), ElementsAre(2));
}

TEST(GraphTest, AnUpdateThatClosesACycleEmptiesThePath) {
    Graph graph;
    auto const first = AddTo(graph, 1);
    AddTo(graph, 2, {1});
    AddTo(graph, 3, {2});
    first->dependents = {3};
    EXPECT_THAT([&] { graph.Update(first); }, ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_THAT(PathOf(graph), IsEmpty());
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n3;\n1->3 ;\n2->1 ;\n3->2 ;\n}\n");
}

// ---- Ids that change ------------------------------------------------------------------------------------------------

TEST(GraphTest, OfTwoObservablesThatHaveBecomeEqualTheLaterIsTheInput) {
    Graph graph;
    auto const earlier = AddTo(graph, 1);
    auto const consumer = AddTo(graph, 2, {3});
    auto const later = AddTo(graph, 3);
    earlier->SetId(3);
    graph.UpdatePath();

    EXPECT_THAT(graph.GetPath(), ElementsAre(earlier, later, consumer));
    EXPECT_EQ(TextOf(graph), "digraph G {\n3;\n2;\n3;\n2->3 ;\n}\n");
    EXPECT_EQ(graph.GetVertex(3), 0u) << "look-ups find the first";

    // Only the later one waits for its inputs, which shows whose place the edge has.
    later->dependents = {4};
    AddTo(graph, 4);
    EXPECT_EQ(graph.GetPath(),
              (std::vector<std::shared_ptr<Observable>>{earlier, graph.GetPath()[1], later, consumer}));
    EXPECT_EQ(graph.GetPath()[1]->GetId(), 4u);
}

TEST(GraphTest, OfTwoObservablesThatHaveBecomeEqualTheFirstIsRemoved) {
    Graph graph;
    auto const earlier = AddTo(graph, 1);
    auto const later = AddTo(graph, 3);
    earlier->SetId(3);
    graph.Remove(later);
    EXPECT_THAT(graph.GetPath(), ElementsAre(later));
}

TEST(GraphTest, OfTwoObservablesThatHaveBecomeEqualTheOtherMayBeTheDependent) {
    Graph graph;
    auto const earlier = AddTo(graph, 1);
    auto const later = AddTo(graph, 3, {1});
    earlier->SetId(3);
    later->dependents = {3};
    EXPECT_THAT(
        [&] { graph.Remove(earlier); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 3 as another observable: 3 depends on it"));
}

TEST(GraphTest, WritesTheIdsOfTheMoment) {
    Graph graph;
    AddTo(graph, 1, {2});
    auto const input = AddTo(graph, 2);
    input->SetId(5);
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n5;\n1->5 ;\n}\n") << "edges stay until the next change";
    graph.UpdatePath();
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n5;\n}\n");
}

// ---- Failures -------------------------------------------------------------------------------------------------------

TEST(GraphTest, StaysAsItWasWhenAnObservableDoesNotTellItsInputs) {
    Graph graph;
    auto const broken = MakeBroken(1);
    broken->isBroken = false;
    broken->dependents = {3};
    graph.Add(broken);
    auto const other = AddTo(graph, 2, {1});
    AddTo(graph, 3);
    auto const text = TextOf(graph);
    Ids const path{3, 1, 2};
    EXPECT_EQ(PathOf(graph), path);
    broken->isBroken = true;
    other->dependents = {};

    std::vector<std::function<void()>> const changes{[&] { AddTo(graph, 4); }, [&] { graph.Update(other); },
                                                     [&] { graph.Remove(other); }, [&] { graph.Remove(Make(3)); },
                                                     [&] { graph.UpdatePath(); }};
    for (auto const& change : changes) {
        EXPECT_THAT(change, ThrowsMessage<std::domain_error>("no inputs today"));
        EXPECT_EQ(TextOf(graph), text);
        EXPECT_EQ(PathOf(graph), path);
    }

    broken->isBroken = false;
    graph.UpdatePath();
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n2;\n3;\n1->3 ;\n}\n");
}

TEST(GraphTest, DoesNotHoldAnObservableThatDoesNotTellItsInputs) {
    Graph graph;
    EXPECT_THAT([&] { graph.Add(MakeBroken(1)); }, ThrowsMessage<std::domain_error>("no inputs today"));
    EXPECT_FALSE(graph.HaveVertex(1));
}

TEST(GraphTest, DoesNotAskTheRemovedObservableWhetherItDependsOnItself) {
    Graph graph;
    auto const observable = MakeBroken(1);
    observable->isBroken = false;
    graph.Add(observable);
    observable->isBroken = true;
    graph.Remove(observable);
    EXPECT_THAT(PathOf(graph), IsEmpty());
}

TEST(GraphTest, RefusesNullAndNamesTheCall) {
    Graph graph;
    AddTo(graph, 1);
    tests::LogCapture capture;
    EXPECT_THAT([&] { graph.Add(nullptr); },
                ThrowsMessage<std::invalid_argument>("Graph::Add: the observable must not be null"));
    EXPECT_THAT([&] { graph.Update(nullptr); },
                ThrowsMessage<std::invalid_argument>("Graph::Update: the observable must not be null"));
    EXPECT_THAT([&] { graph.Remove(nullptr); },
                ThrowsMessage<std::invalid_argument>("Graph::Remove: the observable must not be null"));
    EXPECT_THAT(capture.Take(), IsEmpty());
    EXPECT_EQ(TextOf(graph), "digraph G {\n1;\n}\n");
    EXPECT_THAT(PathOf(graph), ElementsAre(1));
}

// ---- Moving, writing, HasDependency ---------------------------------------------------------------------------------

TEST(GraphTest, MovingTakesVerticesEdgesAndPath) {
    Graph source;
    AddTo(source, 1, {2});
    AddTo(source, 2);
    Graph target(std::move(source));
    EXPECT_EQ(TextOf(target), "digraph G {\n1;\n2;\n1->2 ;\n}\n");
    EXPECT_THAT(PathOf(target), ElementsAre(2, 1));
    AddTo(target, 3);
    EXPECT_THAT(PathOf(target), ElementsAre(2, 1, 3));
}

TEST(GraphTest, AGraphThatWasMovedFromRefusesEveryCall) {
    Graph graph;
    auto const observable = AddTo(graph, 1);
    Graph const taken(std::move(graph));

    std::vector<std::function<void()>> const calls{
        [&] { graph.Add(observable); },    [&] { graph.Update(observable); },
        [&] { graph.Remove(observable); }, [&] { (void)graph.HaveVertex(1); },
        [&] { (void)graph.GetVertex(1); }, [&] { graph.UpdatePath(); },
        [&] { (void)graph.GetPath(); },    [&] { TextOf(graph); }};
    tests::LogCapture capture;
    for (auto const& call : calls) {
        EXPECT_THAT(call, ThrowsMessage<std::logic_error>("Pimpl is null"));
    }
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST(GraphTest, WritesDecimalNumbersWhateverTheStreamIsSetTo) {
    struct Grouped : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    Graph graph;
    AddTo(graph, 1234567, {16});
    AddTo(graph, 16);
    std::ostringstream text;
    text.imbue(std::locale(std::locale::classic(), new Grouped));
    text << std::hex << std::showbase << std::showpos << graph;
    EXPECT_EQ(text.str(), "digraph G {\n1234567;\n16;\n1234567->16 ;\n}\n");
}

TEST(GraphTest, WritingReturnsTheStream) {
    std::ostringstream text;
    text << Graph() << "//";
    EXPECT_EQ(text.str(), "digraph G {\n}\n//");
}

TEST(HasDependencyTest, LooksForTheIdInTheWholeList) {
    EXPECT_FALSE(HasDependency({}, 0));
    EXPECT_TRUE(HasDependency({1, 2, 3}, 1));
    EXPECT_TRUE(HasDependency({1, 2, 3}, 3));
    EXPECT_TRUE(HasDependency({4294967295, 4294967295}, 4294967295));
    EXPECT_FALSE(HasDependency({1, 2, 3}, 4));
}

// ---- Against the model ----------------------------------------------------------------------------------------------

// A graph as lists, changed by the same calls.
struct GraphModel {
    std::vector<std::shared_ptr<Scripted>> vertices;
    std::vector<std::pair<std::size_t, std::size_t>> edges;
    std::vector<std::shared_ptr<Observable>> path;

    std::vector<tests::PathNode> Nodes() const {
        std::vector<tests::PathNode> nodes;
        for (auto const& vertex : vertices) {
            nodes.push_back({vertex->GetId(), vertex->dependents});
        }
        return nodes;
    }

    std::string UpdatePath() {
        auto const nodes = Nodes();
        edges.clear();
        path.clear();
        for (std::size_t vertex = 0; vertex < nodes.size(); ++vertex) {
            for (unsigned int const input : nodes[vertex].inputs) {
                if (auto const found = tests::PathModel::Find(nodes, input)) {
                    edges.emplace_back(vertex, *found);
                }
            }
        }
        auto const order = tests::PathModel::Sort(nodes);
        if (!order) {
            return CycleError;
        }
        for (std::size_t const vertex : *order) {
            path.push_back(vertices[vertex]);
        }
        return {};
    }

    std::size_t Find(unsigned int id) const {
        std::size_t vertex = 0;
        while (vertex < vertices.size() && vertices[vertex]->GetId() != id) {
            ++vertex;
        }
        return vertex;
    }

    std::string Add(std::shared_ptr<Scripted> const& observable) {
        if (Find(observable->GetId()) < vertices.size()) {
            return "Observable already added";
        }
        vertices.push_back(observable);
        return UpdatePath();
    }

    std::string Update(unsigned int id) {
        return Find(id) < vertices.size() ? UpdatePath() : "Cannot update observable that has not been added";
    }

    std::string Remove(unsigned int id) {
        auto const removed = Find(id);
        if (removed == vertices.size()) {
            return "Cannot remove observable that has not been added";
        }
        for (std::size_t vertex = 0; vertex < vertices.size(); ++vertex) {
            for (unsigned int const input : vertices[vertex]->dependents) {
                if (vertex != removed && input == id) {
                    return "Cannot remove observable: " + std::to_string(id) +
                           " as another observable: " + std::to_string(vertices[vertex]->GetId()) + " depends on it";
                }
            }
        }
        vertices.erase(vertices.begin() + static_cast<std::ptrdiff_t>(removed));
        return UpdatePath();
    }

    std::string Text() const {
        std::string text = "digraph G {\n";
        for (auto const& vertex : vertices) {
            text += std::to_string(vertex->GetId()) + ";\n";
        }
        for (auto const& [source, target] : edges) {
            text +=
                std::to_string(vertices[source]->GetId()) + "->" + std::to_string(vertices[target]->GetId()) + " ;\n";
        }
        return text + "}\n";
    }
};

template <class Change>
std::string ErrorOf(Change const& change) {
    try {
        change();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return {};
}

TEST(GraphRandomTest, AgreesWithASearchOverPlainLists) {
    tests::RunAtRandom(2000, [](tests::Random& random) {
        std::size_t const ids = 2 + random.Below(7);
        bool const hasCycles = random.OneIn(3);
        auto const inputsOf = [&](unsigned int id) {
            Ids inputs;
            for (std::size_t count = random.Below(4); count > 0; --count) {
                // Inputs of higher ids only leave no room for a cycle; the last is never added.
                auto const from = hasCycles && random.OneIn(4) ? 0 : id + 1;
                inputs.push_back(from + static_cast<unsigned int>(random.Below(ids + 1 - from)));
            }
            return inputs;
        };
        auto const anyId = [&] { return static_cast<unsigned int>(random.Below(ids)); };

        Graph graph;
        GraphModel model;
        for (int step = 0; step < 30; ++step) {
            auto const id = anyId();
            std::string expected;
            std::string actual;
            switch (random.Below(6)) {
                case 0:
                case 1:
                case 2: {
                    auto const observable = Make(id, inputsOf(id));
                    expected = model.Add(observable);
                    actual = ErrorOf([&] { graph.Add(observable); });
                    break;
                }
                case 3:
                    if (auto const vertex = model.Find(id); vertex < model.vertices.size()) {
                        model.vertices[vertex]->dependents = inputsOf(id);
                    }
                    expected = model.Update(id);
                    actual = ErrorOf([&] { graph.Update(Make(id)); });
                    break;
                case 4:
                    expected = model.Remove(id);
                    actual = ErrorOf([&] { graph.Remove(Make(id)); });
                    break;
                default:
                    if (auto const vertex = model.Find(id); vertex < model.vertices.size() && random.OneIn(3)) {
                        model.vertices[vertex]->SetId(anyId());
                    }
            }
            ASSERT_EQ(actual, expected);
            ASSERT_EQ(TextOf(graph), model.Text());
            ASSERT_EQ(graph.GetPath(), model.path);
            for (unsigned int any = 0; any <= ids; ++any) {
                auto const vertex = model.Find(any);
                ASSERT_EQ(graph.HaveVertex(any), vertex < model.vertices.size());
                if (vertex < model.vertices.size()) {
                    ASSERT_EQ(graph.GetVertex(any), vertex);
                }
            }
        }
    });
}

}  // namespace
}  // namespace qel::observable
