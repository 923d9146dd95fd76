#include "observable/registry/info.hpp"

#include <utility>

namespace qel::observable::registry {

Info::Info(hash::MurmurThree32 type, char const* typeName, Make make, Schemas schemas)
    : type(type), typeName(typeName), make(std::move(make)), schemas(std::move(schemas)) {}

std::vector<property::Schema> Info::GetSchemas() const { return schemas(); }

}  // namespace qel::observable::registry
