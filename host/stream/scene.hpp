#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "host/stream/walker.hpp"

namespace qel::host {

/// People and vehicles before a camera, as a detector and a tracker tell of them that err now and then.
class Scene {
public:
    struct Options {
        std::uint64_t seed = 1;
        std::uint32_t people = 6;
        std::uint32_t vehicles = 2;
        Walker::Detector detector = {};
        /// Of the detections of somebody who has been detected before, the share that shows another id than the last
        /// one, in millionths. Two of a kind whose boxes overlap exchange their ids; others get new ones.
        std::int64_t idSwitches = 0;
    };

    struct Object {
        std::uint32_t id;
        Walker::Kind kind;
        Walker::Box box;
        std::int64_t confidence;  // in hundredths
    };

    explicit Scene(Options const& options);

    /// What is seen at this time, in milliseconds from the start and never before the last one asked for. No id stands
    /// twice in it, and a new id is one that nobody had. Throws `Failure` when there are no more ids.
    std::vector<Object> LookAt(std::int64_t time);

private:
    struct Track {
        std::uint32_t id = 0;
        std::optional<std::uint32_t> crossing;  // during which it has had the id
        std::uint32_t losses = 0;               // how often the id was lost for a new one
    };
    struct Detection {
        std::size_t walker;
        Walker::Sighting sighting;
        bool isOpen;  // to a switch of its id
    };

    void GiveNewId(std::size_t walker);
    void SwitchIds(std::vector<Detection>& detections);
    Detection* FindPartner(std::vector<Detection>& detections, std::size_t of);

    std::vector<Walker> walkers;
    std::vector<Track> tracks;  // of the walkers
    std::mt19937_64 tracker;
    std::int64_t idSwitches;
};

}  // namespace qel::host
