#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/hash/murmur_three_32.hpp"
#include "host/rules/setting.hpp"
#include "observable/observable.hpp"

namespace qel::host {

/// A type of observable with what a rule file may say about it.
struct ObservableType {
    hash::MurmurThree32 id;
    std::string name;
    std::vector<Setting> settings;  // in the order in which the type publishes them
    std::string defect;             // why no rule can be of this type; normally empty

    Setting const* Find(std::string_view setting) const;

    /// A new instance. Throws `Failure` when the type makes none.
    std::shared_ptr<observable::Observable> Make() const;
};

/// The registered types, as they stand when this is made, by name.
class TypeCatalogue {
public:
    /// Loads the plug-ins beside the library, and those of another directory unless that is empty. Throws
    /// `CommandLineError` when the directory cannot be read. A plug-in that cannot be loaded is logged and left out.
    static void LoadPlugins(std::filesystem::path const& directory);

    TypeCatalogue();

    std::vector<ObservableType> const& GetTypes() const { return types; }
    ObservableType const* Find(std::string_view name) const;
    /// The name of the type that a misspelt or shortened name ("Presence") probably stands for, or an empty text.
    std::string FindNearest(std::string_view name) const;

private:
    std::vector<ObservableType> types;
};

}  // namespace qel::host
