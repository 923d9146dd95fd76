#include "observable/or.hpp"

#include <ostream>
#include <utility>

#include "foundation/type/pimpl.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/detail/binary.hpp"
#include "observable/registry/get.hpp"

namespace qel::observable {

char const* const Or::DefaultName = "Or";
std::uint16_t const Or::DefaultChannel = 0;
std::uint32_t const Or::DefaultInputA = UnsetId;
std::uint32_t const Or::DefaultInputB = UnsetId;
bool const Or::DefaultContrainTarget = true;

namespace {

type::registry::detail::Scoped<Or, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

std::vector<property::Schema> Or::MakeProperties() { return detail::MakeBinaryProperties<Or>(); }

class Or::Impl : public detail::Binary {
public:
    using Binary::Binary;
};

Or::Or(std::string name, std::uint16_t channel, std::uint32_t inputA, std::uint32_t inputB)
    : Observable(object::TypeIdOf<Or>),
      impl(std::make_unique<Impl>(*this, detail::Binary::Needs::Either, "or", channel, inputA, inputB, false)) {
    SetName(std::move(name));
}

std::uint16_t Or::GetChannel() const { return type::Deref(impl).channel; }

void Or::SetChannel(std::uint16_t channel) { type::Deref(impl).channel = channel; }

std::uint32_t Or::GetInputA() const { return type::Deref(impl).inputA; }

void Or::SetInputA(std::uint32_t input) { type::Deref(impl).inputA = input; }

std::uint32_t Or::GetInputB() const { return type::Deref(impl).inputB; }

void Or::SetInputB(std::uint32_t input) { type::Deref(impl).inputB = input; }

bool Or::GetConstrainTarget() const { return type::Deref(impl).constrainTarget; }

void Or::SetConstrainTarget(bool constrainTarget) { type::Deref(impl).constrainTarget = constrainTarget; }

std::vector<unsigned int> Or::GetDependents() const { return type::Deref(impl).GetDependents(); }

InputNames Or::GetInputProperties() const { return detail::BinaryInputs(); }

Or::~Or() = default;

std::vector<std::shared_ptr<object::Object>> Or::Process(meta::Meta const& frame) {
    return type::Deref(impl).Process(frame);
}

std::ostream& operator<<(std::ostream& stream, Or const& observable) {
    return stream << "{\"observable\":" << static_cast<Observable const&>(observable);
}

}  // namespace qel::observable
