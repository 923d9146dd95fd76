#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/allocation_counter.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {

/// One run of an operation in a world of its own.
struct Trial {
    std::function<void()> work;
    /// What can be seen of the world afterwards, whole. It is asked once and may use the world up.
    std::function<std::string()> see;
};

/// Something that a host does.
struct Operation {
    std::string name;
    std::function<Trial()> prepare;
    /// Whether it ever asks for memory.
    bool allocates = true;
    /// Whether something else may be seen when it has failed than what is seen when it has not been tried.
    std::function<bool(std::string const& seen)> mayBeSeen = {};
    /// Whether it adds to something that stays for as long as the process.
    bool leavesTraces = false;

    friend std::ostream& operator<<(std::ostream& stream, Operation const& operation) {
        return stream << operation.name;
    }
};

/// The texts of values, for what can be seen.
template <class... Values>
std::string TextOf(Values const&... values) {
    std::ostringstream text;
    ((text << values << ' '), ...);
    return text.str();
}

/// Each with an end of line.
inline std::string Join(std::vector<std::string> const& lines) {
    std::string text;
    for (auto const& line : lines) {
        text += line + '\n';
    }
    return text;
}

template <class Printable>
std::string Printed(Printable const& printable) {
    std::ostringstream text;
    text << printable;
    return text.str();
}

/// An operation that asks for no memory.
inline Operation Frugal(std::string name, std::function<Trial()> prepare) {
    return {std::move(name), std::move(prepare), false};
}

/// Makes something, which is then described.
template <class Make, class Describe>
Operation Making(std::string name, Make make, Describe describe) {
    return {std::move(name), [=] {
                using Made = decltype(make());
                auto const made = std::make_shared<std::optional<Made>>();
                return Trial{[=] { made->emplace(make()); },
                             [=] { return *made ? describe(**made) : std::string("nothing"); }};
            }};
}

/// What refuses something, with which message; under lack of memory it need not come to that.
template <class Error, class Work>
std::function<void()> Refused(std::shared_ptr<std::string> const& message, Work work) {
    return [=] {
        try {
            work();
        } catch (Error const& error) {
            *message = error.what();
        }
    };
}

/// An operation that is refused with a message, which is whole or not there.
template <class Error, class Prepare>
Operation Refusal(std::string name, Prepare prepare) {
    return {std::move(name), [=] {
                auto const message = std::make_shared<std::string>();
                message->reserve(200);
                Trial trial = prepare();
                return Trial{Refused<Error>(message, trial.work), [=] { return *message + '\n' + trial.see(); }};
            }};
}

/// For the names of tests.
inline std::string NameOfOperation(testing::TestParamInfo<Operation> const& tested) { return tested.param.name; }

namespace detail {

enum class Again { Not, Here, OnAnotherThread };

template <class Failing>
bool ExpectToSurvive(Operation const& operation, std::size_t before, Again again, std::string const& untouched,
                     std::string const& done) {
    std::optional trial = operation.prepare();
    std::size_t const failures = CountFailures();
    bool const threw = FailsForLackOfMemory<Failing>(before, trial->work);
    bool const wasRefused = CountFailures() > failures;
    EXPECT_TRUE(wasRefused || !threw);
    if (threw && again == Again::Here) {
        trial->work();
    } else if (threw && again == Again::OnAnotherThread) {
        OnAnotherThread([&] {
            trial->work();
            return true;
        });
    }
    {
        std::string const seen = trial->see();
        if (!threw || again != Again::Not) {
            EXPECT_EQ(seen, done);
        } else if (seen != untouched && !(operation.mayBeSeen && operation.mayBeSeen(seen))) {
            ADD_FAILURE() << "It was\n" << untouched << "\nand is\n" << seen;
        }
    }
    NoMoreMemory const noMore;
    trial.reset();
    return wasRefused;
}

}  // namespace detail

/// Lets the first allocation of an operation fail, then the second, and so on until it asks for no more; once for that
/// time only, and once for good. Whenever it ends so with `std::bad_alloc`, everything must be as if it had not been
/// tried, it must succeed when it is done again, by this thread or by another, and the end of the world, which needs no
/// memory, must leave nothing behind. When it gets by without the memory, it must have done what it does.
inline void ExpectToSurviveLackOfMemory(Operation const& operation) {
    // What is made once in the process fails first, too, and is there from then on.
    for (std::size_t before = 0, failures = CountFailures();; ++before, failures = CountFailures()) {
        FailsForLackOfMemory(before, operation.prepare().work);
        if (CountFailures() == failures) {
            break;
        }
    }
    std::string const untouched = operation.prepare().see();
    std::string const done = [&] {
        Trial const trial = operation.prepare();
        trial.work();
        return trial.see();
    }();
    std::size_t before = 0;
    for (bool isRefused = true; isRefused; ++before) {
        SCOPED_TRACE("without memory behind " + std::to_string(before) + " allocations");
        for (auto const again : {detail::Again::Not, detail::Again::Here, detail::Again::OnAnotherThread}) {
            auto const live = LiveBytes();
            isRefused = detail::ExpectToSurvive<FailingAllocation>(operation, before, again, untouched, done);
            EXPECT_TRUE(operation.leavesTraces || again == detail::Again::OnAnotherThread || LiveBytes() == live)
                << LiveBytes() - live << " bytes are left";
        }
        auto const live = LiveBytes();
        detail::ExpectToSurvive<NoMoreMemory>(operation, before, detail::Again::Not, untouched, done);
        EXPECT_TRUE(operation.leavesTraces || LiveBytes() == live) << LiveBytes() - live << " bytes are left";
    }
    EXPECT_EQ(before > 1, operation.allocates) << before - 1 << " allocations";
}

}  // namespace qel::tests
