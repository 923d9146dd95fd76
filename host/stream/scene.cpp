#include "host/stream/scene.hpp"

#include <limits>
#include <utility>

#include "host/failure.hpp"

namespace qel::host {

namespace {

bool Overlap(Walker::Box const& one, Walker::Box const& other) {
    return one.left < other.left + other.width && other.left < one.left + one.width &&
           one.top < other.top + other.height && other.top < one.top + one.height;
}

/// Of the middles; only for comparing.
std::int64_t SquaredDistance(Walker::Box const& one, Walker::Box const& other) {
    std::int64_t const x = 2 * one.left + one.width - 2 * other.left - other.width;
    std::int64_t const y = 2 * one.top + one.height - 2 * other.top - other.height;
    return x * x + y * y;
}

}  // namespace

Scene::Scene(Options const& options) : tracker(~options.seed), idSwitches(options.idSwitches) {
    std::mt19937_64 seeds(options.seed);
    for (std::uint32_t at = 0; at < options.people + options.vehicles; ++at) {
        walkers.emplace_back(at < options.people ? Walker::Kind::Person : Walker::Kind::Vehicle, seeds(),
                             options.detector);
    }
    tracks.resize(walkers.size());
}

std::vector<Scene::Object> Scene::LookAt(std::int64_t time) {
    std::vector<Detection> detections;
    for (std::size_t at = 0; at < walkers.size(); ++at) {
        if (auto const sighting = walkers[at].LookAt(time)) {
            bool const isKnown = tracks[at].crossing == sighting->crossing;
            detections.push_back({at, *sighting, isKnown});
            if (!isKnown) {
                tracks[at].crossing = sighting->crossing;
                GiveNewId(at);
            }
        }
    }
    if (idSwitches > 0) {
        SwitchIds(detections);
    }
    std::vector<Object> objects;
    for (auto const& [walker, sighting, isOpen] : detections) {
        objects.push_back({tracks[walker].id, walkers[walker].GetKind(), sighting.box, sighting.confidence});
    }
    return objects;
}

/// Each walker has every so many-th id, one for each crossing and each loss.
void Scene::GiveNewId(std::size_t walker) {
    Track& track = tracks[walker];
    std::uint64_t const before = std::uint64_t{*track.crossing} + track.losses;
    std::uint64_t const id = before * walkers.size() + walker + 1;
    if (id > std::numeric_limits<std::uint32_t>::max()) {
        throw Failure("the scene has used up all ids");
    }
    track.id = static_cast<std::uint32_t>(id);
}

/// One draw decides for both of a pair, so that a detection is a switch as often in company as alone.
void Scene::SwitchIds(std::vector<Detection>& detections) {
    for (std::size_t at = 0; at < detections.size(); ++at) {
        if (!detections[at].isOpen) {
            continue;
        }
        Track& track = tracks[detections[at].walker];
        Detection* const partner = FindPartner(detections, at);
        if (partner != nullptr) {
            partner->isOpen = false;
        }
        if (!Happens(tracker, idSwitches)) {
            continue;
        }
        if (partner != nullptr) {
            std::swap(track.id, tracks[partner->walker].id);
        } else {
            ++track.losses;
            GiveNewId(detections[at].walker);
        }
    }
}

/// The nearest of those behind it that are of its kind and overlap it; null when there is none.
Scene::Detection* Scene::FindPartner(std::vector<Detection>& detections, std::size_t of) {
    auto const& one = detections[of];
    Detection* nearest = nullptr;
    for (std::size_t at = of + 1; at < detections.size(); ++at) {
        auto& other = detections[at];
        if (other.isOpen && walkers[other.walker].GetKind() == walkers[one.walker].GetKind() &&
            Overlap(one.sighting.box, other.sighting.box) &&
            (nearest == nullptr || SquaredDistance(one.sighting.box, other.sighting.box) <
                                       SquaredDistance(one.sighting.box, nearest->sighting.box))) {
            nearest = &other;
        }
    }
    return nearest;
}

}  // namespace qel::host
