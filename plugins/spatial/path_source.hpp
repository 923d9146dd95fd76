#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plugins/spatial/polyline.hpp"
#include "plugins/spatial/source.hpp"

namespace qel::observable::spatial {

/// A source that reports, in one frame, that an object has changed sides: of a zone or of a line.
///
/// A side is settled when an unbroken stay on it, from its first sample on, has lasted at least the settle time; a
/// shorter stay changes nothing. The event comes in the first frame in which a side other than the settled one is
/// settled, if the movement that began the stay is one that the subclass reports.
///
/// The anchors of one id are one path while they are in consecutive frames or no more than half a second apart;
/// otherwise the id starts anew and has settled nowhere.
///
/// When a frame fails, it is as if it had not been.
class PathSource : public Source {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.PathSource";

    std::chrono::milliseconds GetSettle() const { return settle; }
    void SetSettle(std::chrono::milliseconds time) { settle = time; }

    void Reset() override { paths.clear(); }
    Events Process(meta::Meta const& frame) override;

protected:
    /// A side, as the subclass numbers them; 0 is on none.
    using Side = signed char;

    static constexpr std::chrono::milliseconds DefaultSettle{200};

    struct Path {
        unsigned int id;          // of the object
        std::uint64_t frame = 0;  // of the last sample
        meta::Timestamp time = {};
        Point anchor = {};
        Side side = 0;  // on none before the first sample
        meta::Timestamp stayStart = {};
        bool entryReported = false;  // whether the movement that began the stay is one to report
        std::optional<Side> settled = {};
        Meeting meeting = {};  // with a line of several pieces, while the path is on it
    };

    /// What one movement does.
    struct Step {
        Side side;                    // where it ends
        bool isReported = false;      // if it begins a stay
        bool isOccurrence = false;    // reported at once, whatever follows
        bool interruptsStay = false;  // though it ends on the side on which it began
    };

    using Source::Source;

    static void AddSettleProperty(std::vector<property::Schema>& schemas);

    /// The next frame is about to bring this zone. Whether paths go on in it.
    virtual bool LookAt(meta::data::Zone const& zone);
    /// The next frame has come with the zone that was looked at last.
    virtual void See() noexcept;
    /// The movement of a path from its last anchor to its next, or its beginning at its first: then it is on no side.
    /// May change `meeting` only.
    virtual Step Move(Path& path, Point to, meta::data::Zone const& zone) const = 0;

private:
    bool IsForgotten(Path const& path, meta::Timestamp now) const;
    bool Advance(Path& path, Point to, meta::Timestamp now, meta::data::Zone const& zone) const;

    std::chrono::milliseconds settle = DefaultSettle;
    std::uint64_t frameNumber = 0;  // of the last frame
    std::vector<Path> paths;        // by ascending id
    std::vector<Path> next;         // what a frame makes of them; kept for its memory
};

}  // namespace qel::observable::spatial
