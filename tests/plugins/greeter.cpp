// A plug-in with an observable type, or with two. TYPE_NAME is the name of the type, SECOND_TYPE_NAME that of the
// second one, PLUGIN says which library this is.

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "tests/plugins/parcel.hpp"

namespace qel::tests {

/// Reports the tracked objects of a frame in an event of its own, and a parcel from this library.
class [[gnu::visibility("default")]] Greeter : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = TYPE_NAME;
    static auto DefaultArguments() { return std::tuple(PLUGIN); }

    explicit Greeter(std::string name) : Observable(object::TypeIdOf<Greeter>) { SetName(std::move(name)); }

    std::uint16_t GetLimit() const { return limit; }
    void SetLimit(std::uint16_t value) { limit = value; }

    std::string GetGreeting() const { return greeting; }
    void SetGreeting(std::string value) { greeting = std::move(value); }

    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override {
        static int const threshold = [] { return 1; }();  // a static local that is initialised when first met
        meta::data::Event::Objects objects{MakeObservableMetadata()};
        for (auto const& object : meta::ItemsOf<meta::data::Object>(frame)) {
            if (objects.size() < threshold + std::size_t{limit}) {
                objects.push_back(std::make_shared<meta::data::Object>(object));
            }
        }
        for (auto const& event : meta::EventsOf(frame)) {
            for (auto const& object : event.GetObjects()) {
                object->As<meta::data::Object>();  // throws for anything else
            }
        }
        return {std::make_shared<meta::data::Event>(GetName(), greeting, "tests", frame.GetTimestamp(),
                                                    frame.GetTimestamp(), std::move(objects)),
                std::make_shared<Parcel>(PLUGIN)};
    }

    static std::vector<property::Schema> MakeProperties() {
        std::vector<property::Schema> schemas;
        schemas.emplace_back("limit", 2, &Greeter::SetLimit, &Greeter::GetLimit, 0, 10, "How many to greet");
        schemas.emplace_back("greeting", "hello", &Greeter::SetGreeting, &Greeter::GetGreeting, "What to say");
        return observable::properties::Make(std::move(schemas), true);
    }

private:
    std::uint16_t limit = 2;
    std::string greeting = "hello";
};

namespace {

type::registry::detail::Scoped<Greeter, type::Registry<observable::registry::Info>> const registration(
    observable::registry::Get());

#ifdef SECOND_TYPE_NAME
class SecondGreeter : public Greeter {
public:
    static constexpr char const* ClassTypeName = SECOND_TYPE_NAME;

    using Greeter::Greeter;
};

type::registry::detail::Scoped<SecondGreeter, type::Registry<observable::registry::Info>> const secondRegistration(
    observable::registry::Get());
#endif

}  // namespace

}  // namespace qel::tests
