#include "host/command/action.hpp"

namespace qel::host {

void AddPluginsOption(CLI::App& command, std::string& directory) {
    command.add_option("--plugins", directory, "Load plug-ins from this directory too")->type_name("DIR");
}

}  // namespace qel::host
