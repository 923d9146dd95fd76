// Any text is a rule file that is told about: either there are mistakes, each a line that names the file and a place in
// it, or the rules can be made and run. They have the types of the library and of the plug-ins beside it.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "foundation/meta/data/geometry.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/meta.hpp"
#include "host/rules/mistake.hpp"
#include "host/rules/rule_file.hpp"
#include "host/rules/rule_set.hpp"

using namespace qel::host;

namespace {

// Making a rule set asks every rule for its inputs each time one is added, so many rules take long: no mistake, and of
// no use to a fuzzer.
constexpr std::size_t MostRules = 100;

void CheckMessage(Mistake const& mistake) {
    std::string const line = Describe(mistake);
    bool const hasPlace = mistake.line > 0 && mistake.column > 0 && line.starts_with("rules:");
    if (!hasPlace || mistake.problem.empty() || line.find('\n') != std::string::npos) {
        std::cerr << "message: " << line << '\n';
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static TypeCatalogue const types = [] {
        TypeCatalogue::LoadPlugins({});
        return TypeCatalogue();
    }();
    auto const reading = ReadRules("rules", std::string(data, data + size), types);
    for (auto const* const list : {&reading.mistakes, &reading.warnings}) {
        for (auto const& mistake : *list) {
            CheckMessage(mistake);
        }
    }
    if (!reading.mistakes.empty() || reading.file.rules.size() > MostRules) {
        return 0;
    }
    RuleSet rules(reading.file, 1);
    for (int step = 0; step < 5; ++step) {  // across the picture, and the zones of the seeds
        qel::meta::Meta const frame{qel::meta::Timestamp(std::chrono::milliseconds(400 * step))};
        qel::meta::data::Box const box{0.2 * step, 0.15 * step, 0.1, 0.3};
        frame.Append(std::make_shared<qel::meta::data::Object>(7, "person", box));
        rules.Process(frame);
    }
    return 0;
}
