#pragma once

#include <utility>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/registry/get.hpp"
#include "observable/registry/info.hpp"

namespace qel::tests {

/// Has the class T in the registry, as a library that brings it would have, for as long as this object lives.
template <class T>
class Registered : public type::registry::detail::Scoped<T, type::Registry<observable::registry::Info>> {
public:
    Registered()
        : type::registry::detail::Scoped<T, type::Registry<observable::registry::Info>>(observable::registry::Get()) {}
};

/// Has an entry in the registry for as long as this object lives.
class RegisteredInfo {
public:
    explicit RegisteredInfo(observable::registry::Info info) : type(info.GetTypeNameId()) {
        observable::registry::Get().GetMap()->try_emplace(type, std::move(info));
    }
    ~RegisteredInfo() { observable::registry::Get().GetMap()->erase(type); }

    RegisteredInfo(RegisteredInfo const&) = delete;
    RegisteredInfo& operator=(RegisteredInfo const&) = delete;

private:
    hash::MurmurThree32 type;
};

}  // namespace qel::tests
