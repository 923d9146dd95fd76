#include "foundation/object/object.hpp"

#include <mutex>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "foundation/object/bad_cast.hpp"

namespace qel::object {

namespace {

class TypeNames {
public:
    TypeNames() {
        for (char const* const name :
             {"qel.object.Bool", "qel.object.UInt16", "qel.object.UInt32", "qel.object.Double", "qel.object.String",
              "qel.object.Milliseconds", "qel.property.Bool", "qel.property.UInt16", "qel.property.UInt32",
              "qel.property.Double", "qel.property.String", "qel.property.Milliseconds", "qel.meta.data.Event",
              "qel.meta.data.Observable", "qel.meta.data.Object", "qel.meta.data.Zone", "qel.meta.data.Channel"}) {
            Add(name);
        }
    }

    void Add(char const* name) {
        std::lock_guard<std::mutex> const lock(mutex);
        names.try_emplace(hash::MurmurThree32::MakeData(name), name);
    }

    char const* Find(hash::MurmurThree32 const& type) {
        std::lock_guard<std::mutex> const lock(mutex);
        auto const found = names.find(type);
        return found == names.end() ? nullptr : found->second.c_str();
    }

private:
    std::mutex mutex;
    std::unordered_map<hash::MurmurThree32, std::string> names;
};

TypeNames& GetTypeNames() {
    // Never destroyed: plug-ins and static objects ask for names until the very end of the process.
    static auto& names = *new TypeNames;
    return names;
}

}  // namespace

Object::~Object() = default;

char const* Object::TypeName(hash::MurmurThree32 const& type) { return GetTypeNames().Find(type); }

void Object::ThrowBadCast(char const* wantedName) const {
    // No stream, which would swallow a lack of memory. An unknown name ends the message.
    std::string message = "Failed to cast the runtime object from '";
    if (char const* const name = TypeName(type)) {
        message.append(name).append("' to a '").append(wantedName).append("'");
    }
    throw BadCast(message);
}

void RegisterTypeName(char const* name) {
    if (name == nullptr) {
        throw std::invalid_argument("RegisterTypeName: a type name must not be null");
    }
    GetTypeNames().Add(name);
}

}  // namespace qel::object
