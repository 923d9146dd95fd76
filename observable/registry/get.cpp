#include "observable/registry/get.hpp"

namespace qel::observable::registry {

type::Registry<Info>& Get() {
    static type::Registry<Info> registry;
    return registry;
}

}  // namespace qel::observable::registry
