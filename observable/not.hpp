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
#include "observable/observable.hpp"

namespace qel::observable {

/// Reports the silence of its input.
///
/// One event goes on from frame to frame while no event of the frame names the input: same id, same start, the end
/// moves. The frame in which the input fires ends it; the next silence is a new event. Without an input it never
/// reports. The event carries this observable's record and nothing else.
///
/// `Reset` forgets nothing. Channel and input may be changed while another thread processes a frame.
class QEL_OBSERVABLE_EXPORT Not : public Observable {
public:
    /// The name of the type, whose hash is the type id, and what an instance has that the registry makes.
    static constexpr char const* ClassTypeName = "qel.observable.Not";
    static char const* const DefaultName;
    static std::uint16_t const DefaultChannel;
    static std::uint32_t const DefaultInput;
    static auto DefaultArguments() { return std::tuple(DefaultName, DefaultChannel, DefaultInput); }

    /// The arguments in the order of the settings. Any value is taken.
    Not(std::string name, std::uint16_t channel, std::uint32_t input);

    /// For the host's bookkeeping; what is reported does not depend on it.
    std::uint16_t GetChannel() const;
    void SetChannel(std::uint16_t channel);

    /// The id of the observable whose silence is reported, or `UnsetId`.
    std::uint32_t GetInput() const;
    void SetInput(std::uint32_t input);

    std::vector<unsigned int> GetDependents() const override;
    InputNames GetInputProperties() const override;
    ~Not() override;
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override;

    /// The settings, each with the default above and its range.
    static std::vector<property::Schema> MakeProperties();

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

/// Writes {"observable":{"typename":qel.observable.Not,"id":3}. The last brace is missing: log readers match it so.
QEL_OBSERVABLE_EXPORT std::ostream& operator<<(std::ostream& stream, Not const& observable);

}  // namespace qel::observable
