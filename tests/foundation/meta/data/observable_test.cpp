#include "foundation/meta/data/observable.hpp"

#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include "foundation/meta/key_changes.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using meta::KeyChanges;
using meta::data::Observable;

TEST(ObservableRecordTest, NamesAnObservable) {
    EXPECT_EQ(Observable(7).GetId(), 7u);
    EXPECT_EQ(Observable(0xFFFFFFFF).GetId(), 0xFFFFFFFFu);
}

TEST(ObservableRecordTest, IsTypedAsAnObservable) {
    EXPECT_TRUE(Observable(7).Is<Observable>());
    EXPECT_EQ(Observable(7).GetTypeNameId().GetValue(), 0xA3A3F13Bu);
    EXPECT_STREQ(Observable::ClassTypeName, "qel.meta.data.Observable");
}

TEST(ObservableRecordTest, ChangesItsId) {
    Observable record(7);
    record.SetId(8);
    EXPECT_EQ(record.GetId(), 8u);
}

TEST(ObservableRecordTest, HasAnIdApartFromItsCopies) {
    Observable record(7);
    Observable const copy(record);
    record.SetId(8);
    EXPECT_EQ(copy.GetId(), 7u);
    EXPECT_TRUE(copy.Is<Observable>());
    static_assert(!std::is_copy_assignable_v<Observable>);
}

TEST(ObservableRecordTest, IsCloned) {
    Observable const record(7);
    std::shared_ptr<object::Object> const clone = record.Clone();
    EXPECT_NE(clone.get(), &record);
    EXPECT_EQ(clone->As<Observable>().GetId(), 7u);
}

TEST(ObservableRecordTest, CountsEveryChangeOfAnId) {
    std::uint64_t const before = KeyChanges();
    Observable record(7);
    Observable const copy(record);
    EXPECT_EQ(KeyChanges(), before);
    record.SetId(8);
    EXPECT_EQ(KeyChanges(), before + 1);
    record.SetId(9);
    EXPECT_EQ(KeyChanges(), before + 2);
}

TEST(ObservableRecordTest, MayBeChangedWhileOthersReadIt) {
    Observable record(0);
    RunTogether(3, [&](int thread) {
        unsigned int last = 0;
        for (unsigned int id = 1; id <= 5000; ++id) {
            if (thread == 0) {
                record.SetId(id);
            } else {
                unsigned int const seen = record.GetId();
                EXPECT_GE(seen, last);
                last = seen;
            }
        }
    });
    EXPECT_EQ(record.GetId(), 5000u);
}

TEST(ObservableRecordTest, ShowsItsNewIdToWhoeverSeesTheChangeCounted) {
    std::uint64_t const before = KeyChanges();
    Observable record(0);
    RunTogether(2, [&](int thread) {
        for (unsigned int id = 1; id <= 20000; ++id) {
            if (thread == 0) {
                record.SetId(id);
            } else {
                std::uint64_t const counted = KeyChanges() - before;
                EXPECT_GE(record.GetId(), counted);
            }
        }
    });
}

}  // namespace
}  // namespace qel::tests
