#include "host/events/table_writer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "host/system/read_file.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

TEST(TableWriterTest, WritesARowForEachChangeUnderOneHeading) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "events").string();
    Output output(path);
    TableWriter writer(output);
    meta::data::Event const event(
        1, "n", "t", "c", {}, {},
        {std::make_shared<meta::data::Object>(7, "person"), std::make_shared<meta::data::Object>(8), nullptr,
         std::make_shared<meta::data::Zone>(1, "Gate"), std::make_shared<meta::data::Zone>(2)});
    meta::data::Event const bare(2, "n", "t", "c", {}, {}, {});
    std::string const rule = "at the\x1b[31m gate";
    writer.Write({EventChange::Phase::Start, meta::Timestamp(std::chrono::seconds(1)), 1, rule, 0, 3, event});
    writer.Write({EventChange::Phase::End, meta::Timestamp(std::chrono::seconds(2)), 1000000, rule, 0, 65535, bare});
    output.Flush();
    EXPECT_EQ(
        ReadWholeFile(path),
        "TIME                      CHANNEL  EVENT  PHASE   RULE                      OBJECTS               ZONES\n"
        "1970-01-01T00:00:01.000Z        3      1  start   at the?[31m gate          7 person, 8           Gate, 2\n"
        "1970-01-01T00:00:02.000Z    65535  1000000  end     at the?[31m gate                                \n");
}

}  // namespace
}  // namespace qel::host
