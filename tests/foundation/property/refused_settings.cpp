// Compiled as a test only, once without a mistake and once with each; the compiler has to say what is wrong.

#include <string>
#include <vector>

#include "foundation/property/schema.hpp"

namespace {

using qel::property::Schema;

class Host {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Host";
    void SetNumber(double number);
    double GetNumber() const;
    double GetNumberUnlocked();
    float GetFloat() const;
    void SetName(std::string name);
    void SetNameByReference(std::string const& name);
    std::string GetName() const;
    void SetLong(long number);
    long GetLong() const;
};

class Mixin {
public:
    void SetNumber(double number);
    double GetNumber() const;
};
class Derived : public Mixin {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Derived";
};

void SetNumber(Host* host, double number);
double GetNumber(Host* host);

[[maybe_unused]] void Make(std::vector<Schema>& schemas) {
#if MISTAKE == 0
    schemas.emplace_back("number", 1.0, &Host::SetNumber, &Host::GetNumber, "");
    schemas.emplace_back("number", 1.0, &Host::SetNumber, &Host::GetNumber, 0, 1, "");
    schemas.emplace_back("name", "", &Host::SetName, &Host::GetName, "");
#elif MISTAKE == 1
    schemas.emplace_back("number", 1.0, &Host::SetNumber, &Host::GetFloat, "");
#elif MISTAKE == 2
    schemas.emplace_back("number", 1.0, &Host::SetNumber, &Host::GetNumberUnlocked, "");
#elif MISTAKE == 3
    schemas.emplace_back("number", 1.0, &Derived::SetNumber, &Derived::GetNumber, "");
#elif MISTAKE == 4
    schemas.emplace_back("name", "", &Host::SetName, &Host::GetName, "a", "z", "");
#elif MISTAKE == 5
    schemas.emplace_back("name", "", &Host::SetNameByReference, &Host::GetName, "");
#elif MISTAKE == 6
    schemas.emplace_back("number", 1, &Host::SetLong, &Host::GetLong, "");
#elif MISTAKE == 7
    schemas.emplace_back("number", 1.0, &SetNumber, &GetNumber, "");
#elif MISTAKE == 8
    qel::property::External<bool>("number", true, &Host::SetNumber, &Host::GetNumber, "");
#endif
}

}  // namespace
