#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"
#include "foundation/property/schema.hpp"
#include "observable/export.hpp"
#include "observable/inputs.hpp"
#include "observable/observable.hpp"

namespace qel::observable {

/// Reports what either of two other observables reports.
///
/// Unconstrained, as a new one is, there is one event for every frame in which an input fires, with the objects and
/// zones of all events of both, input A's copy where both have one; it goes on from frame to frame (same id, same
/// start, the end moves) while either fires. Constrained to targets, there is one event for each tracked object that an
/// event of either input holds, with the object and the zones of the events that hold it; it goes on while either holds
/// the object. The first frame in which both inputs are silent ends all events; whatever comes later is a new one.
///
/// An input that is unset never fires. Two equal inputs count as input A alone.
///
/// `Reset` forgets nothing. Settings must not be changed while another thread calls the notifier, which reads them
/// for a frame and, the inputs, whenever its rule set changes.
class QEL_OBSERVABLE_EXPORT Or : public Observable {
public:
    /// The name of the type, whose hash is the type id, and what an instance has that the registry makes.
    static constexpr char const* ClassTypeName = "qel.observable.Or";
    static char const* const DefaultName;
    static std::uint16_t const DefaultChannel;
    static std::uint32_t const DefaultInputA;
    static std::uint32_t const DefaultInputB;
    static bool const DefaultContrainTarget;  // exported under this spelling; of the setting, not of the constructor
    static auto DefaultArguments() { return std::tuple(DefaultName, DefaultChannel, DefaultInputA, DefaultInputB); }

    /// Unconstrained, whatever the default of the setting.
    Or(std::string name, std::uint16_t channel, std::uint32_t inputA, std::uint32_t inputB);

    /// For the host's bookkeeping; what is reported does not depend on it.
    std::uint16_t GetChannel() const;
    void SetChannel(std::uint16_t channel);

    /// The ids of the observables whose events are read, or `UnsetId`. Events that have begun go on across a change.
    std::uint32_t GetInputA() const;
    void SetInputA(std::uint32_t input);
    std::uint32_t GetInputB() const;
    void SetInputB(std::uint32_t input);

    /// Whether there is one event per tracked object. What the other mode has begun is kept until the next frame in
    /// which both inputs are silent, and goes on after a change back.
    bool GetConstrainTarget() const;
    void SetConstrainTarget(bool constrainTarget);

    std::vector<unsigned int> GetDependents() const override;
    InputNames GetInputProperties() const override;
    ~Or() override;
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override;

    /// The settings, each with the default above and its range.
    static std::vector<property::Schema> MakeProperties();

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

/// Writes {"observable":{"typename":qel.observable.Or,"id":3}. The last brace is missing: log readers match it so.
QEL_OBSERVABLE_EXPORT std::ostream& operator<<(std::ostream& stream, Or const& observable);

}  // namespace qel::observable
