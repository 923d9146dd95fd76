#pragma once

#include <memory>
#include <string>
#include <utility>

namespace qel::tests {

/// What the settings of a test host are bound by, as those of an observable are by `Observable`.
class SettingTarget {
public:
    using PropertyTarget = SettingTarget;

    SettingTarget() = default;
    SettingTarget(SettingTarget const&) = delete;
    SettingTarget& operator=(SettingTarget const&) = delete;
    virtual ~SettingTarget() = default;
};

/// Before the target in a host, so that the two do not begin at the same place.
class SettingMixin {
public:
    virtual ~SettingMixin() = default;
    std::string text = "a mix-in";
};

/// Holds one setting of type T.
template <class T>
class SettingHost : public SettingMixin, public SettingTarget {
public:
    static constexpr char const* ClassTypeName = "qel.tests.SettingHost";

    explicit SettingHost(T value = T()) : value(std::move(value)) {}

    void SetValue(T next) {
        ++sets;
        if (refuse) {
            throw Refused();
        }
        value = std::move(next);
    }
    T GetValue() const {
        if (refuse) {
            throw Refused();
        }
        return value;
    }

    /// This host as the target of a binding.
    static std::shared_ptr<void> TargetOf(std::shared_ptr<SettingTarget> host) { return host; }

    struct Refused {};

    T value;
    bool refuse = false;
    int sets = 0;
};

/// The same by functions.
template <class T>
void SetHostValue(SettingHost<T>* host, T value) {
    host->SetValue(std::move(value));
}
template <class T>
T GetHostValue(SettingHost<T> const* host) {
    return host->GetValue();
}

}  // namespace qel::tests
