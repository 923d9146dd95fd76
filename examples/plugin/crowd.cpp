// A plug-in with one observable type, "example.Crowd".

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"

namespace type = qel::type;

using qel::meta::Meta;
using qel::meta::data::Event;
using qel::observable::Observable;
using qel::property::Schema;
using Tracked = qel::meta::data::Object;

namespace {

/// Reports that many things of one class are in the picture. One event goes on for as long as they are.
class Crowd : public Observable {
public:
    static constexpr char const* ClassTypeName = "example.Crowd";
    static constexpr std::uint16_t DefaultMinimum = 3;
    static constexpr char const* DefaultClassification = "person";
    static auto DefaultArguments() { return std::tuple("Crowd"); }

    explicit Crowd(std::string name) : Observable(qel::object::TypeIdOf<Crowd>) { SetName(std::move(name)); }

    std::uint16_t GetMinimum() const { return minimum; }
    void SetMinimum(std::uint16_t value) { minimum = value; }

    std::string GetClassification() const { return classification; }
    void SetClassification(std::string value) { classification = std::move(value); }

    void Reset() override { last.reset(); }

    std::vector<std::shared_ptr<qel::object::Object>> Process(Meta const& frame) override {
        Event::Objects objects{MakeObservableMetadata()};  // first the record that says who reports
        for (Tracked const& tracked : qel::meta::ItemsOf<Tracked>(frame)) {
            if (tracked.GetClassification() == classification) {
                objects.push_back(std::make_shared<Tracked>(tracked));
            }
        }
        if (objects.size() - 1 < minimum) {
            last.reset();
            return {};
        }
        auto const now = frame.GetTimestamp();
        last = last ? std::make_shared<Event>(last->GetId(), GetName(), "crowd", "example", last->GetStart(), now,
                                              std::move(objects))
                    : std::make_shared<Event>(GetName(), "crowd", "example", now, now, std::move(objects));
        return {last};
    }

    static std::vector<Schema> MakeProperties() {
        std::vector<Schema> schemas;
        schemas.emplace_back("minimum", DefaultMinimum, &Crowd::SetMinimum, &Crowd::GetMinimum, 1, 1000,
                             "How many make a crowd");
        schemas.emplace_back("classification", DefaultClassification, &Crowd::SetClassification,
                             &Crowd::GetClassification, "The class of what is counted");
        return qel::observable::properties::Make(std::move(schemas), true);
    }

private:
    std::uint16_t minimum = DefaultMinimum;
    std::string classification = DefaultClassification;
    std::shared_ptr<Event> last;
};

type::registry::detail::Scoped<Crowd, type::Registry<qel::observable::registry::Info>> const registration(
    qel::observable::registry::Get());

}  // namespace
