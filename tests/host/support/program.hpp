#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qel::tests {

/// What a finished program leaves behind.
struct Outcome {
    int code;  // 128 and the signal for one that was killed
    std::string out;
    std::string error;

    std::vector<std::string> OutLines() const;
    std::vector<std::string> ErrorLines() const;
};

/// The program qel, running as a process of its own. What a test waits for must come: there is no time-out but ctest's.
class Program {
public:
    /// The last two are as `Pipes`, but messages cannot be written: there is no room for them, or standard error is
    /// closed.
    enum class Streams { Pipes, Terminal, FullError, ClosedError };

    /// Whether this machine gives pseudo-terminals; a bare root file system may not.
    static bool HasTerminals();

    /// On a terminal, standard output and standard error are one and end up in `Outcome::out`.
    explicit Program(std::vector<std::string> arguments, Streams streams = Streams::Pipes);
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;
    /// Kills what still runs.
    ~Program();

    void Write(std::string const& text);
    void CloseInput();

    /// The next line of standard output, without its end.
    std::string ReadLine();
    /// Nobody reads standard output from now on.
    void CloseOutput();

    void Signal(int signal);
    bool IsRunning() const;

    /// Writes the rest of standard input, closes it, and reads what is left.
    Outcome Finish(std::string const& rest = "");

    /// How much memory it had at most, in KiB; after `Finish`.
    long GetPeakMemory() const { return peakMemory; }

private:
    pid_t process = -1;
    int input = -1;
    int output = -1;
    int error = -1;
    std::string read;
    long peakMemory = 0;
};

/// Runs qel with this input to its end.
Outcome RunQel(std::vector<std::string> arguments, std::string const& input = "");

}  // namespace qel::tests
