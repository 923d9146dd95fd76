#include "observable/and.hpp"

#include <ostream>
#include <utility>

#include "foundation/type/pimpl.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/detail/binary.hpp"
#include "observable/registry/get.hpp"

namespace qel::observable {

char const* const And::DefaultName = "And";
std::uint16_t const And::DefaultChannel = 0;
std::uint32_t const And::DefaultInputA = UnsetId;
std::uint32_t const And::DefaultInputB = UnsetId;
bool const And::DefaultContrainTarget = true;

namespace {

type::registry::detail::Scoped<And, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

std::vector<property::Schema> And::MakeProperties() { return detail::MakeBinaryProperties<And>(); }

class And::Impl : public detail::Binary {
public:
    using Binary::Binary;
};

And::And(std::string name, std::uint16_t channel, std::uint32_t inputA, std::uint32_t inputB, bool constrainTarget)
    : Observable(object::TypeIdOf<And>),
      impl(
          std::make_unique<Impl>(*this, detail::Binary::Needs::Both, "and", channel, inputA, inputB, constrainTarget)) {
    SetName(std::move(name));
}

std::uint16_t And::GetChannel() const { return type::Deref(impl).channel; }

void And::SetChannel(std::uint16_t channel) { type::Deref(impl).channel = channel; }

std::uint32_t And::GetInputA() const { return type::Deref(impl).inputA; }

void And::SetInputA(std::uint32_t input) { type::Deref(impl).inputA = input; }

std::uint32_t And::GetInputB() const { return type::Deref(impl).inputB; }

void And::SetInputB(std::uint32_t input) { type::Deref(impl).inputB = input; }

bool And::GetConstrainTarget() const { return type::Deref(impl).constrainTarget; }

void And::SetConstrainTarget(bool constrainTarget) { type::Deref(impl).constrainTarget = constrainTarget; }

std::vector<unsigned int> And::GetDependents() const { return type::Deref(impl).GetDependents(); }

InputNames And::GetInputProperties() const { return detail::BinaryInputs(); }

And::~And() = default;

std::vector<std::shared_ptr<object::Object>> And::Process(meta::Meta const& frame) {
    return type::Deref(impl).Process(frame);
}

std::ostream& operator<<(std::ostream& stream, And const& observable) {
    return stream << "{\"observable\":" << static_cast<Observable const&>(observable);
}

}  // namespace qel::observable
