#include "tests/host/support/validator.hpp"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tests/support/temporary_directory.hpp"

namespace qel::tests {

std::vector<std::string> Validate(std::string const& schema, std::vector<std::string> const& documents) {
    TemporaryDirectory const directory;
    auto const path = [&](char const* name) { return (directory / name).string(); };
    std::ofstream(path("schema")) << schema;
    std::ofstream(path("documents")) << fmt::format("{}\n", fmt::join(documents, "\n"));
    auto const command = fmt::format("'{}' '{}' '{}' '{}' > '{}'", QEL_PYTHON, QEL_VALIDATE, path("schema"),
                                     path("documents"), path("verdicts"));
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("the validator fails, see standard error; it needs the package python3-jsonschema");
    }
    std::vector<std::string> verdicts;
    std::ifstream file(path("verdicts"));
    for (std::string line; std::getline(file, line);) {
        verdicts.push_back(line);
    }
    if (verdicts.size() != documents.size()) {
        throw std::runtime_error("the validator does not tell about every document");
    }
    return verdicts;
}

}  // namespace qel::tests
