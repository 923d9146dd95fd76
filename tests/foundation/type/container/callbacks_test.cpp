#include "foundation/type/container/callbacks.hpp"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class CallbacksTest : public testing::Test {
protected:
    using Callbacks = type::container::Callbacks<void()>;

    /// A callback that only tells its name.
    std::function<void()> Tell(std::string name) {
        return [this, name] { told += name; };
    }

    /// The names that the callbacks tell when each is called once.
    std::string Call() {
        told.clear();
        callbacks.ForEach([](std::function<void()> const& callback) { callback(); });
        return told;
    }

    Callbacks callbacks;
    std::string told;
};

TEST_F(CallbacksTest, NumbersCallbacksFromZero) {
    EXPECT_EQ(callbacks.Insert(Tell("a")), 0u);
    EXPECT_EQ(callbacks.Insert(Tell("b")), 1u);
    EXPECT_EQ(callbacks.Insert(Tell("c")), 2u);
    EXPECT_EQ(Call(), "abc");
}

TEST_F(CallbacksTest, TakesACopyOfAFunctionThatTheCallerKeeps) {
    std::function<void()> const kept = Tell("a");
    EXPECT_EQ(callbacks.Insert(kept), 0u);
    EXPECT_EQ(callbacks.Insert(kept), 1u);
    EXPECT_EQ(Call(), "aa");
}

TEST_F(CallbacksTest, UsesTheLowestFreeSlotFirst) {
    for (char const* const name : {"a", "b", "c", "d"}) {
        callbacks.Insert(Tell(name));
    }
    callbacks.Remove(2);
    callbacks.Remove(1);
    EXPECT_EQ(callbacks.Insert(Tell("e")), 1u);
    EXPECT_EQ(callbacks.Insert(Tell("f")), 2u);
    EXPECT_EQ(callbacks.Insert(Tell("g")), 4u);
    EXPECT_EQ(Call(), "aefdg") << "callbacks are called in the order of their slots";
}

TEST_F(CallbacksTest, KeepsTheSlotsOfRemovedCallbacks) {
    callbacks.Insert(Tell("a"));
    callbacks.Insert(Tell("b"));
    callbacks.Remove(0);
    callbacks.Remove(1);
    EXPECT_EQ(callbacks.Insert(Tell("c")), 0u);
    EXPECT_EQ(callbacks.Insert(Tell("d")), 1u);
}

TEST_F(CallbacksTest, RefusesAnEmptyFunction) {
    callbacks.Insert(Tell("a"));
    callbacks.Insert(Tell("b"));
    callbacks.Remove(0);
    EXPECT_THAT([&] { callbacks.Insert(nullptr); },
                ThrowsMessage<std::invalid_argument>("Cannot insert invalid functions into the Callbacks"));
    EXPECT_EQ(Call(), "b");
    EXPECT_EQ(callbacks.Count(), 1u);
    EXPECT_EQ(callbacks.Insert(Tell("c")), 0u);
}

TEST_F(CallbacksTest, IgnoresIdsThatHoldNothing) {
    callbacks.Remove(0);
    callbacks.Insert(Tell("a"));
    callbacks.Insert(Tell("b"));
    callbacks.Remove(0);
    callbacks.Remove(0);
    callbacks.Remove(2);
    callbacks.Remove(99);
    callbacks.Remove(0xFFFFFFFF);
    EXPECT_EQ(Call(), "b");
    EXPECT_EQ(callbacks.Insert(Tell("c")), 0u);
    EXPECT_EQ(callbacks.Insert(Tell("d")), 2u);
}

TEST_F(CallbacksTest, CountsWhatIsPresent) {
    EXPECT_FALSE(callbacks.Any());
    EXPECT_EQ(callbacks.Count(), 0u);
    callbacks.Insert(Tell("a"));
    callbacks.Insert(Tell("b"));
    EXPECT_TRUE(callbacks.Any());
    EXPECT_EQ(callbacks.Count(), 2u);
    callbacks.Remove(0);
    EXPECT_TRUE(callbacks.Any());
    EXPECT_EQ(callbacks.Count(), 1u);
    callbacks.Remove(1);
    EXPECT_FALSE(callbacks.Any());
    EXPECT_EQ(callbacks.Count(), 0u);
    EXPECT_EQ(Call(), "");
}

TEST_F(CallbacksTest, DestroysARemovedCallback) {
    auto const held = std::make_shared<int>();
    callbacks.Insert([held] {});
    callbacks.Remove(0);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(CallbacksTest, LeavesTheDestructionOfARemovedCallbackToTheCaller) {
    auto const held = std::make_shared<int>();
    callbacks.Insert([held] {});
    {
        Callbacks::Removed const removed = callbacks.Remove(0);
        EXPECT_NE(removed, nullptr);
        EXPECT_EQ(held.use_count(), 2);
        EXPECT_FALSE(callbacks.Any());
    }
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(callbacks.Remove(0), nullptr);
}

TEST_F(CallbacksTest, DestroysWhatItHolds) {
    auto const held = std::make_shared<int>();
    {
        Callbacks dying;
        dying.Insert([held] {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(CallbacksTest, HandsOnArgumentsAndResults) {
    type::container::Callbacks<int(int, int)> sums;
    sums.Insert([](int left, int right) { return left + right; });
    sums.Insert([](int left, int right) { return left * right; });
    std::vector<int> results;
    sums.ForEach([&](auto const& callback) { results.push_back(callback(3, 4)); });
    EXPECT_THAT(results, ElementsAre(7, 12));
}

TEST_F(CallbacksTest, StopsAtACallbackThatThrows) {
    callbacks.Insert(Tell("a"));
    callbacks.Insert([] { throw std::runtime_error("from a callback"); });
    callbacks.Insert(Tell("c"));
    EXPECT_THAT([&] { Call(); }, ThrowsMessage<std::runtime_error>("from a callback"));
    EXPECT_EQ(told, "a");
    callbacks.Remove(1);
    EXPECT_EQ(Call(), "ac");
}

// From inside a call.

TEST_F(CallbacksTest, LetsACallbackRemoveItself) {
    auto const held = std::make_shared<std::string>("b");
    callbacks.Insert(Tell("a"));
    callbacks.Insert([this, held] {
        callbacks.Remove(1);
        EXPECT_EQ(held.use_count(), 2) << "a callback is destroyed under its own call";
        told += *held;
    });
    callbacks.Insert(Tell("c"));
    EXPECT_EQ(Call(), "abc");
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(Call(), "ac");
}

TEST_F(CallbacksTest, SkipsWhatIsRemovedBeforeItsTurn) {
    callbacks.Insert([this] {
        told += "a";
        callbacks.Remove(1);
        callbacks.Remove(3);
    });
    callbacks.Insert(Tell("b"));
    callbacks.Insert(Tell("c"));
    callbacks.Insert(Tell("d"));
    EXPECT_EQ(Call(), "ac");
}

TEST_F(CallbacksTest, RemovesWhatHasHadItsTurn) {
    callbacks.Insert(Tell("a"));
    callbacks.Insert([this] {
        told += "b";
        callbacks.Remove(0);
    });
    EXPECT_EQ(Call(), "ab");
    EXPECT_EQ(Call(), "b");
}

TEST_F(CallbacksTest, CallsWhatIsInsertedDuringACallAtTheNextOne) {
    callbacks.Insert([this] {
        told += "a";
        if (callbacks.Count() < 2) {
            callbacks.Insert(Tell("b"));
        }
    });
    EXPECT_EQ(Call(), "a");
    EXPECT_EQ(Call(), "ab");
}

TEST_F(CallbacksTest, StaysInPlaceWhileManyAreInsertedDuringACall) {
    std::string const longName(100, 'x');
    callbacks.Insert([this, longName] {
        for (int more = 0; more < 1000; ++more) {
            callbacks.Insert(Tell("b"));
        }
        told += longName;
    });
    EXPECT_EQ(Call(), longName);
    EXPECT_EQ(callbacks.Count(), 1001u);
}

TEST_F(CallbacksTest, CallsWhatReusesASlotDuringACallAtTheNextOne) {
    bool first = true;
    callbacks.Insert([&] {
        told += "a";
        if (first) {
            first = false;
            callbacks.Remove(1);
            EXPECT_EQ(callbacks.Insert(Tell("n")), 1u);
        }
    });
    callbacks.Insert(Tell("b"));
    callbacks.Insert(Tell("c"));
    EXPECT_EQ(Call(), "ac");
    EXPECT_EQ(Call(), "anc");
}

TEST_F(CallbacksTest, LetsACallbackGiveItsOwnSlotToAnother) {
    callbacks.Insert([this] {
        callbacks.Remove(0);
        EXPECT_EQ(callbacks.Insert(Tell("n")), 0u);
        told += "a";
    });
    callbacks.Insert(Tell("b"));
    EXPECT_EQ(Call(), "ab");
    EXPECT_EQ(Call(), "nb");
}

TEST_F(CallbacksTest, CallsWhatWasInsertedDuringACallFromACallWithinIt) {
    bool first = true;
    callbacks.Insert([&] {
        told += "(";
        if (first) {
            first = false;
            callbacks.Insert(Tell("n"));
            callbacks.ForEach([](auto const& callback) { callback(); });
        }
        told += ")";
    });
    callbacks.Insert(Tell("b"));
    EXPECT_EQ(Call(), "(()bn)b");
}

TEST_F(CallbacksTest, SkipsInTheOuterCallWhatAnInnerCallRemoved) {
    int depth = 0;
    callbacks.Insert([&] {
        told += "a";
        if (++depth == 1) {
            callbacks.ForEach([](auto const& callback) { callback(); });
        }
    });
    callbacks.Insert([&] {
        told += "b";
        callbacks.Remove(1);
        callbacks.Remove(2);
    });
    callbacks.Insert(Tell("c"));
    callbacks.Insert(Tell("d"));
    EXPECT_EQ(Call(), "aabdd");
}

TEST_F(CallbacksTest, SkipsInTheOuterCallWhatAnInnerCallReplaced) {
    int depth = 0;
    callbacks.Insert([&] {
        told += "a";
        if (++depth == 1) {
            callbacks.ForEach([](auto const& callback) { callback(); });
        }
    });
    callbacks.Insert([&] {
        told += "b";
        callbacks.Remove(1);
        callbacks.Insert(Tell("n"));
    });
    callbacks.Insert(Tell("c"));
    EXPECT_EQ(Call(), "aabcc");
    EXPECT_EQ(Call(), "anc");
}

TEST_F(CallbacksTest, MayBeEmptiedFromInsideACall) {
    callbacks.Insert(Tell("a"));
    callbacks.Insert([this] {
        told += "b";
        for (unsigned int id = 0; id < 3; ++id) {
            callbacks.Remove(id);
        }
    });
    callbacks.Insert(Tell("c"));
    EXPECT_EQ(Call(), "ab");
    EXPECT_FALSE(callbacks.Any());
}

}  // namespace
}  // namespace qel::tests
