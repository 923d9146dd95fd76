#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/zone_crossing.hpp"

namespace qel::observable::spatial {

namespace {

/// Reports that an object has entered the zone: it had settled outside and then settled inside.
class Enter : public ZoneCrossing {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Enter";
    static auto DefaultArguments() { return std::tuple("Enter"); }

    explicit Enter(std::string name) : ZoneCrossing(object::TypeIdOf<Enter>, std::move(name), "enter", Inside) {}

    static std::vector<property::Schema> MakeProperties() { return MakeCrossingProperties(); }
};

type::registry::detail::Scoped<Enter, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

}  // namespace qel::observable::spatial
