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
    /// What becomes of a file that is there already: it is written anew, or it is what an earlier run, which somebody
    /// killed, has left of the same output. Then its last line, if torn, is cut, and what is written first must be what
    /// stands there.
    enum class Existing { Replace, Continue };

    /// "-" is standard output. Throws `CannotWrite` when the file cannot be made, `Interrupted` when a signal is caught
    /// meanwhile.
    explicit Output(std::string const& path, Existing existing = Existing::Replace);

    void Write(std::string_view text);
    void Flush();
    /// Flushes what is left. Throws `CannotWrite`, too, when the file that was continued holds more than was written.
    void Finish();

    bool IsTerminal() const { return isTerminal; }
    bool HasPending() const { return !buffer.empty(); }
    /// Whether the file that is continued holds lines that have not been written again yet.
    bool IsCatchingUp() const { return confirmed < kept; }

private:
    void KeepWholeLines();
    std::size_t Confirm(std::string_view text);
    void WriteFile(std::string_view text);

    std::string name;
    Descriptor file;
    bool isTerminal;
    std::string buffer;
    std::size_t kept = 0;       // bytes of the file that is continued
    std::size_t confirmed = 0;  // of these, written again
    std::size_t confirmedLines = 0;
};

}  // namespace qel::host
