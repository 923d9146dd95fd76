// What programs and plug-ins have compiled into them: the sizes of the classes that they hold or derive from, and the
// order of the virtual members that no other test has. A difference is a new binary interface, see docs/interface.md.

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "foundation/logging/logger.hpp"
#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/object/object.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/property/external.hpp"
#include "foundation/property/property.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/type/binding.hpp"
#include "foundation/type/registry.hpp"
#include "foundation/type/registry/lock.hpp"
#include "observable/and.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/graph.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"
#include "observable/or.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/previous.hpp"
#include "observable/registry/info.hpp"
#include "tests/support/slot_of.hpp"

namespace qel::tests {
namespace {

struct Class {
    char const* name;
    std::size_t size;
    std::size_t expected;
};

TEST(LayoutTest, ClassesHaveTheSizesThatOthersWereCompiledWith) {
    using Registry = type::Registry<observable::registry::Info>;
    for (Class const& each : {
             Class{"MurmurThree32", sizeof(hash::MurmurThree32), 4},
             Class{"Logger", sizeof(logging::Logger), 16},
             Class{"Object", sizeof(object::Object), 32},
             Class{"object::Bool", sizeof(object::Bool), 32},
             Class{"object::Double", sizeof(object::Double), 40},
             Class{"object::String", sizeof(object::String), 64},
             Class{"Meta", sizeof(meta::Meta), 72},
             Class{"Meta::Iterator", sizeof(meta::Meta::Iterator), 48},
             Class{"EventsNaming", sizeof(meta::EventsNaming), 136},
             Class{"data::Channel", sizeof(meta::data::Channel), 64},
             Class{"data::Event", sizeof(meta::data::Event), 96},
             Class{"data::Object", sizeof(meta::data::Object), 104},
             Class{"data::Observable", sizeof(meta::data::Observable), 32},
             Class{"data::Zone", sizeof(meta::data::Zone), 48},
             Class{"Property", sizeof(property::Property), 96},
             Class{"External<bool>", sizeof(property::External<bool>), 184},
             Class{"External<std::string>", sizeof(property::External<std::string>), 216},
             Class{"Schema", sizeof(property::Schema), 72},
             Class{"Binding", sizeof(type::Binding), 40},
             Class{"Registry", sizeof(Registry), 96},
             Class{"registry::Lock", sizeof(type::registry::Lock<Registry::Map>), 40},
             Class{"registry::Info", sizeof(observable::registry::Info), 80},
             Class{"Observable", sizeof(observable::Observable), 40},
             Class{"And", sizeof(observable::And), 48},
             Class{"Or", sizeof(observable::Or), 48},
             Class{"Not", sizeof(observable::Not), 48},
             Class{"Previous", sizeof(observable::Previous), 48},
             Class{"Compound", sizeof(observable::Compound), 48},
             Class{"DurationTrack", sizeof(observable::DurationTrack), 16},
             Class{"Graph", sizeof(observable::Graph), 8},
             Class{"Notifier", sizeof(observable::Notifier), 16},
             Class{"Loader", sizeof(observable::plugin::Loader), 1},
         }) {
        EXPECT_EQ(each.size, each.expected) << each.name;
    }
}

TEST(LayoutTest, VirtualMembersOfObjectsAndPropertiesKeepTheirOrder) {
    constexpr std::size_t destructors = 2;
    EXPECT_EQ(SlotOf(&object::Object::Clone), destructors);
    EXPECT_EQ(SlotOf(&property::Property::Set), destructors + 1);
    EXPECT_EQ(SlotOf(&property::Property::GetObject), destructors + 2);
    EXPECT_EQ(SlotOf(&property::Property::DescribeValidValues), destructors + 3);
    EXPECT_EQ(SlotOf(&property::Property::Bind), destructors + 4);
}

}  // namespace
}  // namespace qel::tests
