#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/zone_crossing.hpp"

namespace qel::observable::spatial {

namespace {

/// Reports that an object has left the zone: it had settled inside and then settled outside.
class Exit : public ZoneCrossing {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Exit";
    static auto DefaultArguments() { return std::tuple("Exit"); }

    explicit Exit(std::string name) : ZoneCrossing(object::TypeIdOf<Exit>, std::move(name), "exit", Outside) {}

    static std::vector<property::Schema> MakeProperties() { return MakeCrossingProperties(); }
};

type::registry::detail::Scoped<Exit, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

}  // namespace qel::observable::spatial
