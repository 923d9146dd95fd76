#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/property/schema.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"

namespace qel::tests {

/// An observable that does what a test tells it to.
class Scripted : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Scripted";

    using Output = std::vector<std::shared_ptr<object::Object>>;

    static auto DefaultArguments() { return std::tuple("scripted"); }

    explicit Scripted(std::string name = "scripted", std::function<Output(meta::Meta const&)> process = {})
        : Observable(object::TypeIdOf<Scripted>), process(std::move(process)) {
        SetName(std::move(name));
    }

    std::vector<unsigned int> GetDependents() const override { return dependents; }

    Output Process(meta::Meta const& frame) override { return process ? process(frame) : Output{}; }

    void ObserverAdded(Callback const& callback) const override {
        if (observerAdded) {
            observerAdded(callback);
        }
    }

    static std::vector<property::Schema> MakeProperties() { return observable::properties::Make({}, true); }

    std::vector<unsigned int> dependents;
    std::function<Output(meta::Meta const&)> process;
    std::function<void(Callback const&)> observerAdded;
};

}  // namespace qel::tests
