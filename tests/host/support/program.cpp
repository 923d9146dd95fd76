#include "tests/host/support/program.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace qel::tests {

namespace {

std::vector<std::string> LinesOf(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void Close(int& file) {
    if (file >= 0) {
        close(std::exchange(file, -1));
    }
}

struct Pipe {
    int read;
    int write;

    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        read = ends[0];
        write = ends[1];
    }
};

/// Appends what there is; false at the end.
bool ReadSome(int file, std::string& to) {
    std::array<char, 65536> piece{};
    ssize_t const count = read(file, piece.data(), piece.size());
    if (count > 0) {
        to.append(piece.data(), static_cast<std::size_t>(count));
    }
    return count > 0;  // reading from a terminal whose program has gone is an error
}

}  // namespace

std::vector<std::string> Outcome::OutLines() const { return LinesOf(out); }

std::vector<std::string> Outcome::ErrorLines() const { return LinesOf(error); }

Program::Program(std::vector<std::string> arguments, Streams streams) {
    signal(SIGPIPE, SIG_IGN);  // of a program that does not read its input to the end
    arguments.insert(arguments.begin(), QEL_PROGRAM);
    std::vector<char*> pointers;
    for (auto& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    Pipe toInput;
    Pipe fromError;
    int outputOfProgram = -1;
    if (streams == Streams::Terminal) {
        if (openpty(&output, &outputOfProgram, nullptr, nullptr, nullptr) != 0) {
            throw std::runtime_error("no terminal");
        }
    } else {
        Pipe const fromOutput;
        output = fromOutput.read;
        outputOfProgram = fromOutput.write;
    }
    process = fork();
    if (process == 0) {
        signal(SIGPIPE, SIG_DFL);
        dup2(toInput.read, STDIN_FILENO);
        dup2(outputOfProgram, STDOUT_FILENO);
        if (streams == Streams::FullError) {
            dup2(open("/dev/full", O_WRONLY), STDERR_FILENO);
        } else if (streams == Streams::ClosedError) {
            close(STDERR_FILENO);
        } else {
            dup2(streams == Streams::Terminal ? outputOfProgram : fromError.write, STDERR_FILENO);
        }
        for (int file = STDERR_FILENO + 1; file < 64; ++file) {
            close(file);
        }
        execv(pointers.front(), pointers.data());
        _exit(127);
    }
    close(toInput.read);
    close(outputOfProgram);
    close(fromError.write);
    input = toInput.write;
    error = fromError.read;
    fcntl(output, F_SETFD, FD_CLOEXEC);
}

bool Program::HasTerminals() {
    int master = -1;
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) {
        return false;
    }
    close(master);
    close(slave);
    return true;
}

Program::~Program() {
    Close(input);
    Close(output);
    Close(error);
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
}

void Program::Write(std::string const& text) {
    for (std::size_t at = 0; at < text.size();) {
        ssize_t const count = write(input, text.data() + at, text.size() - at);
        if (count < 0) {
            return;  // it has had enough
        }
        at += static_cast<std::size_t>(count);
    }
}

void Program::CloseInput() { Close(input); }

std::string Program::ReadLine() {
    std::size_t end = read.find('\n');
    while (end == std::string::npos) {
        if (!ReadSome(output, read)) {
            throw std::runtime_error("the output ends here");
        }
        end = read.find('\n');
    }
    std::string line = read.substr(0, end);
    read.erase(0, end + 1);
    return line;
}

void Program::CloseOutput() { Close(output); }

void Program::Signal(int signal) { kill(process, signal); }

bool Program::IsRunning() const {
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
    return ended.si_pid == 0;
}

Outcome Program::Finish(std::string const& rest) {
    Outcome outcome{0, std::exchange(read, {}), {}};
    std::string_view left = rest;
    if (left.empty()) {
        Close(input);
    } else {
        fcntl(input, F_SETFL, O_NONBLOCK);
    }
    while (input >= 0 || output >= 0 || error >= 0) {
        std::array<pollfd, 3> files{pollfd{input, POLLOUT, 0}, pollfd{output, POLLIN, 0}, pollfd{error, POLLIN, 0}};
        if (poll(files.data(), files.size(), -1) < 0) {
            continue;
        }
        if (files[0].revents != 0) {
            ssize_t const count = write(input, left.data(), left.size());
            left.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : errno == EAGAIN ? 0 : left.size());
            if (left.empty()) {
                Close(input);
            }
        }
        if (files[1].revents != 0 && !ReadSome(output, outcome.out)) {
            Close(output);
        }
        if (files[2].revents != 0 && !ReadSome(error, outcome.error)) {
            Close(error);
        }
    }
    int status = 0;
    rusage usage{};
    wait4(std::exchange(process, -1), &status, 0, &usage);
    peakMemory = usage.ru_maxrss;
    outcome.code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return outcome;
}

Outcome RunQel(std::vector<std::string> arguments, std::string const& input) {
    return Program(std::move(arguments)).Finish(input);
}

}  // namespace qel::tests
