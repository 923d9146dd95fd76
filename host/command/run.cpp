#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/command/load_rules.hpp"
#include "host/events/event_log.hpp"
#include "host/events/jsonl_writer.hpp"
#include "host/events/progress.hpp"
#include "host/events/table_writer.hpp"
#include "host/failure.hpp"
#include "host/rules/evaluation.hpp"
#include "host/stream/jsonl_reader.hpp"
#include "host/stream/line_reader.hpp"
#include "host/stream/mot_reader.hpp"
#include "host/system/output.hpp"
#include "host/system/standard_error.hpp"
#include "host/system/stop_signals.hpp"
#include "host/system/workers.hpp"

namespace qel::host {

namespace {

constexpr std::uint64_t MostToldLines = 20;
constexpr std::chrono::milliseconds BetweenProgress{200};
constexpr std::size_t MostJobs = 256;
// Enough for all threads to have something to do; only with several, since one needs no batches.
constexpr std::size_t LargestBatch = 1024;

struct Options {
    std::string rules;
    std::string input = "-";
    std::string format;
    std::string output = "-";
    std::string outputFormat = "auto";
    bool resume = false;
    bool updates = false;
    std::string onError = "stop";
    std::optional<double> framesPerSecond;
    std::optional<double> width;
    std::optional<double> height;
    std::string start = "0";
    std::string plugins;
    std::size_t jobs = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, MostJobs);
};

std::string FormatOf(Options const& options) {
    if (!options.format.empty()) {
        return options.format;
    }
    std::string_view name = options.input;
    for (std::string_view const compressed : {".gz", ".zst"}) {
        if (name.ends_with(compressed)) {
            name.remove_suffix(compressed.size());
            break;
        }
    }
    if (options.input == "-" || name.ends_with(".jsonl") || name.ends_with(".ndjson")) {
        return "jsonl";
    }
    if (name.ends_with(".mot") || name.ends_with(".txt")) {
        return "mot";
    }
    throw CommandLineError(fmt::format(
        "--input: {}: the file's ending does not tell its format: give --format jsonl or mot", options.input));
}

std::unique_ptr<FrameReader> MakeReader(Options const& options, LineReader& lines) {
    if (FormatOf(options) == "jsonl") {
        return std::make_unique<JsonlReader>(lines);
    }
    return std::make_unique<MotReader>(lines, FrameClock(ParseStart(options.start), *options.framesPerSecond),
                                       MotReader::Picture{*options.width, *options.height});
}

/// Whether writing the one would destroy the other.
bool IsSameFile(std::string const& written, std::string const& read) {
    std::error_code ignored;  // of one that is not there
    return written != "-" && read != "-" && std::filesystem::is_regular_file(written, ignored) &&
           std::filesystem::equivalent(written, read, ignored);
}

/// What can be wrong with the command line without looking into a file.
void Check(Options const& options) {
    bool const hasPicture = options.framesPerSecond && options.width && options.height;
    if (FormatOf(options) == "mot" && !hasPicture) {
        throw CommandLineError("the format mot needs --fps, --width and --height");
    }
    if (options.rules == "-" && options.input == "-") {
        throw CommandLineError("--rules and --input cannot both be standard input");
    }
    if (options.resume && (options.output == "-" || options.input == "-")) {
        throw CommandLineError("--resume needs --input and --output with files, which it reads again");
    }
    if (IsSameFile(options.output, options.rules) || IsSameFile(options.output, options.input)) {
        throw CommandLineError(fmt::format("--output: {}: is read, too, and would be lost", options.output));
    }
    ParseStart(options.start);
}

/// One run of the command.
class Run {
public:
    Run(Options const& options, RuleFile const& rules, StopSignals const& stop)
        : skipsUnreadable(options.onError == "skip"),
          stop(stop),
          lines(options.input, stop),
          reader(MakeReader(options, lines)),
          output(options.output, options.resume ? Output::Existing::Continue : Output::Existing::Replace),
          writer(MakeWriter(options.outputFormat, output)),
          log(*writer, options.updates),
          evaluation(rules, log),
          workers(options.jobs),
          steps(options.jobs > 1 ? LargestBatch : 1) {
        lines.SetBeforeWaiting([this] { Deliver(); });
    }

    int Perform();

private:
    static std::unique_ptr<EventWriter> MakeWriter(std::string const& format, Output& output) {
        bool const asTable = format == "table" || (format == "auto" && output.IsTerminal());
        return asTable ? std::unique_ptr<EventWriter>(std::make_unique<TableWriter>(output))
                       : std::make_unique<JsonlWriter>(output);
    }

    bool ReadAll();
    std::span<Evaluation::Step> Fetch();
    void Evaluate(std::span<Evaluation::Step> batch);
    bool Conclude(Evaluation::Step& step);
    bool TellUnreadable(Mistake const& mistake);
    void Tell(std::string const& line);
    void Deliver();
    void Summarise();

    bool const skipsUnreadable;
    StopSignals const& stop;
    LineReader lines;
    std::unique_ptr<FrameReader> reader;
    Output output;
    std::unique_ptr<EventWriter> writer;
    EventLog log;
    Evaluation evaluation;
    Workers workers;
    std::vector<Evaluation::Step> steps;  // of the batch that is under way, kept for their memory
    Progress progress{isatty(STDERR_FILENO) == 1 ? stderr : nullptr, BetweenProgress};
    std::uint64_t unreadable = 0;
};

int Run::Perform() {
    bool const complete = ReadAll();
    if (stop.GetCaught() == 0 || !output.IsCatchingUp()) {  // what an earlier run has left stays as it is
        log.CloseAll();
        Deliver();
        output.Finish();
    }
    Summarise();
    if (int const signal = stop.GetCaught()) {
        return BySignal + signal;
    }
    return complete ? Success : Wrong;
}

/// Whether the stream was read to its end, or as far as a signal let it.
bool Run::ReadAll() {
    try {
        for (auto batch = Fetch(); !batch.empty(); batch = Fetch()) {
            Evaluate(batch);
            for (auto& step : batch) {
                if (stop.GetCaught() != 0) {
                    return true;
                }
                if (!Conclude(step)) {
                    return false;
                }
            }
        }
        return true;
    } catch (CannotWrite const&) {
        throw;
    } catch (std::exception const& error) {
        Tell(error.what());
        return false;
    }
}

/// The frames that are there, waiting only when there is none; empty at the end.
std::span<Evaluation::Step> Run::Fetch() {
    std::size_t count = 0;
    for (; count < steps.size(); ++count) {
        auto& step = steps[count];
        step.unreadable = nullptr;
        try {
            if (!reader->Fetch(step.entry, count == 0)) {
                break;
            }
        } catch (UnreadableLine const&) {
            step.unreadable = std::current_exception();
        }
    }
    return std::span(steps).first(count);
}

void Run::Evaluate(std::span<Evaluation::Step> batch) {
    workers.ForEach(batch.size(), [&](std::size_t at) {
        auto& step = batch[at];
        if (step.unreadable) {
            return;
        }
        try {
            reader->Parse(step.entry);
        } catch (...) {
            step.unreadable = std::current_exception();
        }
    });
    auto const isUnreadable = [](auto const& step) { return step.unreadable != nullptr; };
    auto const end = skipsUnreadable ? batch.end() : std::find_if(batch.begin(), batch.end(), isUnreadable);
    evaluation.Process({batch.begin(), end}, workers);
}

/// Whether to go on.
bool Run::Conclude(Evaluation::Step& step) {
    try {
        evaluation.Conclude(step);
    } catch (UnreadableLine const& line) {
        return TellUnreadable(line.mistake);
    } catch (CannotWrite const&) {
        throw;
    } catch (std::exception const& error) {
        Tell(fmt::format("{}:{}: {}", lines.GetName(), step.entry.line, error.what()));
        return false;
    }
    if (output.IsTerminal() && output.HasPending()) {
        Deliver();
    }
    progress.Show(evaluation.GetCounts(), log.GetCount());
    return true;
}

/// Whether to go on.
bool Run::TellUnreadable(Mistake const& mistake) {
    ++unreadable;
    if (unreadable <= MostToldLines) {
        Tell(Describe(mistake));
    } else if (unreadable == MostToldLines + 1) {
        Tell("further lines that cannot be read are only counted");
    }
    return skipsUnreadable;
}

void Run::Tell(std::string const& line) {
    progress.Clear();
    host::Tell(line);
}

/// Lets the reader of the output have what there is.
void Run::Deliver() {
    if (output.HasPending()) {
        if (output.IsTerminal()) {
            progress.Clear();
        }
        output.Flush();
    }
}

void Run::Summarise() {
    auto const& counts = evaluation.GetCounts();
    Tell("qel: " + DescribeSpeed(counts, log.GetCount(), progress.GetSeconds()));
    Tell(fmt::format("qel: {} repeated, {} backwards, {} skipped", Plural(counts.repeated, "time"),
                     Plural(counts.backwards, "time"), Plural(skipsUnreadable ? unreadable : 0, "line")));
}

int RunRules(Options const& options) {
    Check(options);
    TypeCatalogue::LoadPlugins(options.plugins);
    TypeCatalogue const types;
    auto const rules = LoadRules(options.rules, types);
    if (!rules) {
        return Wrong;
    }
    StopSignals const stop;
    try {
        return Run(options, *rules, stop).Perform();
    } catch (Interrupted const&) {
        return BySignal + stop.GetCaught();
    }
}

}  // namespace

void AddRun(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("run", "Evaluate rules over a stream of frames");
    command->add_option("--rules", options->rules, "The rule file")->required()->type_name("FILE");
    command
        ->add_option("--input", options->input,
                     "The stream, - for standard input; it may be compressed with gzip or zstd")
        ->type_name("FILE")
        ->capture_default_str();
    command
        ->add_option("--format", options->format,
                     "What the stream is: jsonl (the default of standard input and of files that end in .jsonl or "
                     ".ndjson) or mot (.mot, .txt); .gz or .zst may follow")
        ->check(CLI::IsMember({"jsonl", "mot"}));
    command->add_option("--output", options->output, "Where events go, - for standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command
        ->add_option("--output-format", options->outputFormat,
                     "jsonl, table, or auto: a table on a terminal, otherwise jsonl")
        ->check(CLI::IsMember({"auto", "jsonl", "table"}))
        ->capture_default_str();
    command->add_flag("--resume", options->resume,
                      "Go on where a run that was killed has stopped writing to the output, given the same rules and "
                      "the same input, which is read again from its start");
    command->add_flag("--updates", options->updates, "Also tell in every frame which events go on");
    command->add_option("--on-error", options->onError, "What to do about a line that cannot be read: stop or skip")
        ->check(CLI::IsMember({"stop", "skip"}))
        ->capture_default_str();
    command->add_option("--fps", options->framesPerSecond, "Frames in a second, for mot")->check(InRange(1e-6, 1e6));
    command->add_option("--width", options->width, "Width of the picture in pixels, for mot")->check(InRange(1, 1e6));
    command->add_option("--height", options->height, "Height of the picture in pixels, for mot")
        ->check(InRange(1, 1e6));
    command->add_option("--start", options->start,
                        "Time of frame 1, for mot: nanoseconds since 1970 or an RFC 3339 text; default 0");
    command
        ->add_option("--jobs", options->jobs,
                     "Threads that work on the stream, 1 to 256; by default as many as there are processor cores. "
                     "Channels are evaluated side by side; what is written does not depend on the number")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, MostJobs));
    AddPluginsOption(*command, options->plugins);
    command->footer(
        "Writes one JSON object a line for each event that starts or ends, and a summary to standard error.\n"
        "An interrupt, or an unreadable line, closes the open events and writes them before the program ends.\n\n"
        "Exit: 0 when the stream was read to its end (skipping or not) or nobody reads the output any more,\n"
        "1 for a mistake in rules or stream, 2 for a wrong command line, 130 and 143 when interrupted or\n"
        "terminated.\n\n"
        "  qel run --rules rules.json --input frames.jsonl --output events.jsonl\n"
        "  tracker | qel run --rules rules.json --on-error skip\n"
        "  qel run --rules rules.json --input gt.txt --fps 25 --width 640 --height 480\n"
        "  qel run --rules rules.json --input day.jsonl.zst --jobs 4 --output events.jsonl");
    command->callback([options, &action] { action = [options] { return RunRules(*options); }; });
}

}  // namespace qel::host
