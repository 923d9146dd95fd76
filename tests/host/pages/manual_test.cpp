#include "host/pages/manual.hpp"

#include <gtest/gtest.h>

#include "tests/host/pages/command.hpp"

namespace qel::tests {
namespace {

TEST(ManualTest, OfACommandTellsItsOptionsAndItsNotes) {
    Command const command;
    EXPECT_EQ(host::PageNameOf(*command.to), "walk-to");
    EXPECT_EQ(host::MakeManual(*command.to, "1.2"), R"(.TH WALK\-TO 1 "" "walk 1.2" "User Commands"
.SH NAME
walk\-to \- Walks to a place
.SH SYNOPSIS
\fBwalk to\fR [\fIOPTION\fR]... \fIPLACE\fR
.SH OPTIONS
.TP
\fB\-h\fR, \fB\-\-help\fR
Print this help message and exit
.TP
\fIPLACE\fR
Where to (required)
.TP
\fB\-f\fR, \fB\-\-file\fR \fIFILE\fR
A \(rs map, \- for none (default \-)
.TP
\fB\-\-pace\fR \fI{slow,fast}\fR
How fast (required)
.TP
\fB\-\-steps\fR \fIINT in [1 \- 9]\fR
How many
.TP
\fB\-\-quiet\fR
Says nothing
.SH NOTES
\&.dot and 'quote' are plain.
.PP
.EX
  walk to HERE \-\-pace slow
  walk to THERE
.PP
.EE
The end.
)");
}

TEST(ManualTest, OfTheProgramTellsItsCommands) {
    Command const command;
    EXPECT_EQ(host::PageNameOf(command.program), "walk");
    EXPECT_EQ(host::MakeManual(command.program, "1.2"), R"(.TH WALK 1 "" "walk 1.2" "User Commands"
.SH NAME
walk \- Walks about
.SH SYNOPSIS
\fBwalk\fR \fICOMMAND\fR [\fIOPTION\fR]...
.SH COMMANDS
.TP
\fBto\fR
Walks to a place, see \fBwalk\-to\fR(1)
.SH OPTIONS
.TP
\fB\-h\fR, \fB\-\-help\fR
Print this help message and exit
.SH NOTES
One foot first.
.PP
.EX
  walk to HERE
.EE
)");
}

}  // namespace
}  // namespace qel::tests
