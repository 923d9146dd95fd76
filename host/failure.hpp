#pragma once

#include <stdexcept>

namespace qel::host {

/// What a command returns to the shell.
enum ExitCode : int { Success = 0, Wrong = 1, WrongCommandLine = 2, BySignal = 128 };

/// Ends a command with one line to the user and the exit code 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends a command with one line to the user and the exit code 2.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A signal has ended the opening of a file, which may wait for the other end of a pipe.
class Interrupted {};

}  // namespace qel::host
