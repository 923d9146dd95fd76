#pragma once

#include <unistd.h>

#include <string>
#include <system_error>

namespace qel::host {

/// A file descriptor, which this object closes unless it is one of the standard three.
class Descriptor {
public:
    explicit Descriptor(int value) : value(value) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (value > STDERR_FILENO) {
            close(value);
        }
    }

    int Get() const { return value; }

private:
    int value;
};

/// The system's text for an error number.
inline std::string Reason(int error) { return std::generic_category().message(error); }

/// Opens for reading, "-" being standard input. Throws `Failure`, or `Interrupted` when a signal is caught meanwhile.
int OpenInput(std::string const& path);

/// What messages call an input of this name.
std::string NameOfInput(std::string const& path);

}  // namespace qel::host
