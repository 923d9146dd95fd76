#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"
#include "foundation/property/schema.hpp"
#include "observable/detail/input_contents.hpp"
#include "observable/detail/look_up.hpp"
#include "observable/detail/shared_texts.hpp"
#include "observable/inputs.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"

namespace qel::observable::detail {

/// What And and Or share: the settings, how two inputs are read out of a frame, and the events that go on from frame to
/// frame.
class Binary {
public:
    /// How many of the inputs have to fire, and have to hold a target.
    enum class Needs { Both, Either };

    /// `eventType` is in static storage. The owner outlives this object.
    Binary(Observable const& owner, Needs needs, char const* eventType, std::uint16_t channel, std::uint32_t inputA,
           std::uint32_t inputB, bool constrainTarget)
        : channel(channel),
          inputA(inputA),
          inputB(inputB),
          constrainTarget(constrainTarget),
          owner(owner),
          needs(needs),
          eventType(eventType) {}
    Binary(Binary const&) = delete;
    Binary& operator=(Binary const&) = delete;

    std::vector<unsigned int> GetDependents() const;
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame);

    std::uint16_t channel;
    std::uint32_t inputA;
    std::uint32_t inputB;
    bool constrainTarget;

private:
    struct Reported {
        unsigned int target;
        std::shared_ptr<meta::data::Event> event;
    };

    std::vector<std::shared_ptr<object::Object>> ProcessUnconstrained(meta::Timestamp now);
    std::vector<std::shared_ptr<object::Object>> ProcessPerTarget(meta::Timestamp now);
    std::shared_ptr<meta::data::Event::Texts const> const& GetTexts();

    Observable const& owner;
    Needs const needs;
    char const* const eventType;
    SharedTexts texts;
    std::shared_ptr<meta::data::Event> event;  // the last one when unconstrained
    std::vector<Reported> targets;             // otherwise the last one of every target of the last frame, by id

    // Of no meaning between frames, kept for their memory.
    LookUp::Found foundA;
    LookUp::Found foundB;
    InputContents contents;
    std::vector<Reported> nextTargets;
};

/// The names of the properties that hold inputs.
InputNames BinaryInputs();

/// The settings of an observable class that is made of a `Binary`.
template <class Combinator>
std::vector<property::Schema> MakeBinaryProperties() {
    constexpr char const* inputDescription = "One of the sources of input events";
    std::vector<property::Schema> schemas;
    schemas.emplace_back("channel", Combinator::DefaultChannel, &Combinator::SetChannel, &Combinator::GetChannel, 0,
                         65535, "The channel id the observable is assigned to");
    schemas.emplace_back(std::string(InputA), Combinator::DefaultInputA, &Combinator::SetInputA, &Combinator::GetInputA,
                         0, 4294967295, inputDescription);
    schemas.emplace_back(std::string(InputB), Combinator::DefaultInputB, &Combinator::SetInputB, &Combinator::GetInputB,
                         0, 4294967295, inputDescription);
    schemas.emplace_back("constrain_target", Combinator::DefaultContrainTarget, &Combinator::SetConstrainTarget,
                         &Combinator::GetConstrainTarget, "Whether the the input events must match target id's");
    return properties::Make(std::move(schemas), true);
}

}  // namespace qel::observable::detail
