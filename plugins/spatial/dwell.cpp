#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/meta/elapsed.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/presence.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

constexpr std::chrono::seconds DefaultDuration{10};

/// The last member of the chain: of the presences of the frame, those that have lasted. One that has lasted goes on
/// being reported until it ends, also in frames that come late and have an earlier time.
class LastingPresence : public Observable, public DurationTrack {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.LastingPresence";

    explicit LastingPresence(std::shared_ptr<Presence const> presence)
        : Observable(object::TypeIdOf<LastingPresence>),
          DurationTrack(DefaultDuration),
          presence(std::move(presence)) {}

    void Reset() override {
        ResetDurationTrack();
        eventIds.clear();
    }
    std::vector<unsigned int> GetDependents() const override { return {presence->GetId()}; }
    Events Process(meta::Meta const& frame) override;

    bool IsTracked(meta::data::Object const&) const override { return true; }
    std::shared_ptr<object::Object const> MakeTrackRecord() const override { return MakeObservableMetadata(); }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return "dwell"; }
    std::string GetTrackCategory() const override { return "spatial"; }

private:
    std::shared_ptr<meta::data::Event> Report(meta::data::Event const& stay) const;

    std::shared_ptr<Presence const> presence;
    std::map<unsigned int, unsigned int>
        eventIds;  // of what was reported in the last frame, by the presence's event id
};

meta::data::Event const& AsEvent(std::shared_ptr<object::Object> const& object) {
    return static_cast<meta::data::Event const&>(*object);
}

/// The one object that a presence is about.
unsigned int ObjectOf(meta::data::Event const& stay) {
    auto const objects = meta::ObjectsOf(stay);
    return objects.begin()->GetId();
}

Events LastingPresence::Process(meta::Meta const& frame) {
    Events stays;
    for (auto const& stay : meta::EventsNaming(frame, presence->GetId())) {
        stays.push_back(std::make_shared<meta::data::Event>(stay));
    }
    std::set<unsigned int> seenForLong;
    for (auto const& tracked : TrackObjects(stays, frame.GetTimestamp())) {
        seenForLong.insert(ObjectOf(AsEvent(tracked)));
    }

    Events events;
    std::map<unsigned int, unsigned int> idsNow;
    for (auto const& each : stays) {
        auto const& stay = AsEvent(each);
        // The frames of a gap are no part of the stay; nor is an earlier stay that ended between two frames.
        bool const hasLasted = seenForLong.count(ObjectOf(stay)) != 0 && stay.GetEnd() == frame.GetTimestamp() &&
                               meta::Elapsed(stay.GetStart(), stay.GetEnd()) > GetDuration();
        if (hasLasted || eventIds.count(stay.GetId()) != 0) {
            auto event = Report(stay);
            idsNow.emplace(stay.GetId(), event->GetId());
            events.push_back(std::move(event));
        }
    }
    eventIds = std::move(idsNow);
    return events;
}

std::shared_ptr<meta::data::Event> LastingPresence::Report(meta::data::Event const& stay) const {
    meta::data::Event::Objects about{MakeTrackRecord()};
    about.insert(about.end(), stay.GetObjects().begin(), stay.GetObjects().end());
    if (auto const known = eventIds.find(stay.GetId()); known != eventIds.end()) {
        return std::make_shared<meta::data::Event>(known->second, GetTrackName(), GetTrackType(), GetTrackCategory(),
                                                   stay.GetStart(), stay.GetEnd(), std::move(about));
    }
    return std::make_shared<meta::data::Event>(GetTrackName(), GetTrackType(), GetTrackCategory(), stay.GetStart(),
                                               stay.GetEnd(), std::move(about));
}

/// Reports every object that has been in the zone for strictly longer than a duration, from its entry to the last frame
/// in which it was there.
class Dwell : public Compound {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Dwell";
    static auto DefaultArguments() { return std::tuple("Dwell"); }

    explicit Dwell(std::string name) : Compound(object::TypeIdOf<Dwell>) { SetName(std::move(name)); }

    std::uint32_t GetZone() const { return presence->GetZone(); }
    void SetZone(std::uint32_t id) { presence->SetZone(id); }
    std::string GetClasses() const { return presence->GetClasses(); }
    void SetClasses(std::string list) { presence->SetClasses(std::move(list)); }
    double GetMinimumConfidence() const { return presence->GetMinimumConfidence(); }
    void SetMinimumConfidence(double confidence) { presence->SetMinimumConfidence(confidence); }
    std::string GetAnchor() const { return presence->GetAnchor(); }
    void SetAnchor(std::string anchor) { presence->SetAnchor(std::move(anchor)); }
    std::chrono::milliseconds GetHoldOn() const { return presence->GetHoldOn(); }
    void SetHoldOn(std::chrono::milliseconds time) { presence->SetHoldOn(time); }
    std::chrono::milliseconds GetHoldOff() const { return presence->GetHoldOff(); }
    void SetHoldOff(std::chrono::milliseconds time) { presence->SetHoldOff(time); }
    std::chrono::milliseconds GetDuration() const { return lasting->GetDuration(); }
    void SetDuration(std::chrono::milliseconds time) { lasting->SetDuration(time); }

    static std::vector<property::Schema> MakeProperties();

    std::vector<std::shared_ptr<Observable>> MakeObservables() const override { return {presence, lasting}; }
    std::string GetEventType() const override { return lasting->GetTrackType(); }

private:
    std::shared_ptr<Presence> const presence = std::make_shared<Presence>("presence");
    std::shared_ptr<LastingPresence> const lasting = std::make_shared<LastingPresence>(presence);
};

type::registry::detail::Scoped<Dwell, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> Dwell::MakeProperties() {
    auto schemas = MakeSourceProperties<Dwell>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<Dwell>(schemas);
    schemas.emplace_back("duration", DefaultDuration, &Dwell::SetDuration, &Dwell::GetDuration, NoTime, LongestTime,
                         "The milliseconds for longer than which an object must be in the zone");
    return properties::Make(std::move(schemas), true);
}

}  // namespace

}  // namespace qel::observable::spatial
