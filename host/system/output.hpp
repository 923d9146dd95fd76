#pragma once

#include <string>
#include <string_view>

#include "host/failure.hpp"
#include "host/system/descriptor.hpp"

namespace qel::host {

/// The reader of the output has gone, which ends the program without a word.
class BrokenPipe {};

/// The output takes no more.
class CannotWrite : public Failure {
public:
    using Failure::Failure;
};

/// A file or standard output, written in large pieces. Writing and flushing throw `BrokenPipe`, or `CannotWrite` for
/// any other reason. What is to arrive is flushed before the end of this object.
class Output {
public:
    /// "-" is standard output. Throws `CannotWrite` when the file cannot be made, `Interrupted` when a signal is caught
    /// meanwhile.
    explicit Output(std::string const& path);

    void Write(std::string_view text);
    void Flush();

    bool IsTerminal() const { return isTerminal; }
    bool HasPending() const { return !buffer.empty(); }

private:
    std::string name;
    Descriptor file;
    bool isTerminal;
    std::string buffer;
};

}  // namespace qel::host
