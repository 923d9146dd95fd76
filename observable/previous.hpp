#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/property/schema.hpp"
#include "observable/export.hpp"
#include "observable/observable.hpp"

namespace qel::observable {

/// Goes on reporting its input's events for some time after they were last seen.
///
/// With `constrain_target` every tracked object is remembered on its own: it is reported while the last input event
/// that carried it ended no longer ago than the interval, with all objects of that event. Without, there is one memory
/// for all: the input is reported while it last fired no longer ago than the interval (the first time counts from the
/// event's end, later ones from the frame's time), with the objects of the event that began it. What is reported
/// without a break is one event: same id, same start, the end moves.
///
/// A change of the mode while running changes nothing of what is remembered; a change of the interval holds from the
/// next frame on. Without an input nothing new is remembered. When a frame fails, it is as if it had not been.
///
/// `Reset` forgets nothing. Settings must not be changed while another thread calls the notifier, which reads them
/// for a frame and, the inputs, whenever its rule set changes.
class QEL_OBSERVABLE_EXPORT Previous : public Observable {
public:
    /// The name of the type, whose hash is the type id, and what an instance has that the registry makes.
    static constexpr char const* ClassTypeName = "qel.observable.Previous";
    static char const* const DefaultName;
    static std::uint16_t const DefaultChannel;
    static std::uint32_t const DefaultInput;
    static std::chrono::milliseconds const DefaultInterval;
    /// What the schema publishes; a new `Previous` has the flag cleared, whatever this says.
    static bool const DefaultConstrainTarget;
    static auto DefaultArguments() { return std::tuple(DefaultName, DefaultChannel, DefaultInput, DefaultInterval); }

    /// Not constrained to targets, whatever the default of the setting.
    Previous(std::string name, std::uint16_t channel, std::uint32_t input, std::chrono::milliseconds interval);

    /// For the host's bookkeeping; what is reported does not depend on it.
    std::uint16_t GetChannel() const;
    void SetChannel(std::uint16_t channel);

    /// The id of the observed observable, or `UnsetId`.
    std::uint32_t GetInput() const;
    void SetInput(std::uint32_t input);

    /// How far back is looked, the end included. Any value is taken; `milliseconds::max()` is for ever.
    std::chrono::milliseconds GetInterval() const;
    void SetInterval(std::chrono::milliseconds interval);

    /// Whether every tracked object is remembered on its own.
    bool GetConstrainTarget() const;
    void SetConstrainTarget(bool constrainTarget);

    std::vector<unsigned int> GetDependents() const override;
    InputNames GetInputProperties() const override;
    ~Previous() override;
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override;

    /// The settings, each with the default above and its range.
    static std::vector<property::Schema> MakeProperties();

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

/// Writes {"observable": and then the observable itself; no brace closes it, log readers match it so.
QEL_OBSERVABLE_EXPORT std::ostream& operator<<(std::ostream& stream, Previous const& previous);

}  // namespace qel::observable
