#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/property/schema.hpp"
#include "observable/export.hpp"

namespace qel::observable {

class Observable;

namespace registry {

/// What the registry knows of one type of observable.
class QEL_OBSERVABLE_EXPORT Info {
public:
    /// What a type brings: the factory of its instances, and the function that lists its settings.
    using Make = std::function<std::shared_ptr<Observable>()>;
    using Schemas = std::function<std::vector<property::Schema>()>;

    /// `typeName` is in static storage of the library that registers the type.
    Info(hash::MurmurThree32 type, char const* typeName, Make make, Schemas schemas);

    /// What the type was registered with.
    hash::MurmurThree32 const& GetTypeNameId() const { return type; }
    char const* GetTypeName() const { return typeName; }
    /// Makes a new instance with default settings; may be empty.
    Make const& GetMake() const { return make; }
    /// The settings of the type, in the order in which a host lists them. Throws `std::bad_function_call` when the type
    /// was registered without them.
    std::vector<property::Schema> GetSchemas() const;

private:
    hash::MurmurThree32 type;
    char const* typeName;
    Make make;
    Schemas schemas;
};

}  // namespace registry

}  // namespace qel::observable
