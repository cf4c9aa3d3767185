// A row of the table of figures: work of ours beside the limit that it is compared with.
//
// The two sides take turns in one run, because the machines are shared and noisy. A program has one
// row or a few that belong together, and `scripts/bench` prints the rows of all programs as one
// table.

#pragma once

#include <functional>
#include <string>
#include <vector>

enum class RowFigure {
    kTime,   ///< time of ours ÷ time of the limit: less is better
    kSpeed,  ///< time of the limit ÷ time of ours: more is better
};

enum class RowClock {
    kProcessor,  ///< time that the process used, of all its threads
    kWall,       ///< for work with several threads
    kChildren,   ///< time that the process and the programs that it ran used
};

struct Row {
    std::string what;        ///< of ours, such as "direct path, 4 floats"
    std::string limit_name;  ///< such as "copying and write(2)"
    double goal = 0;
    double items = 1;  ///< points or lookups of one turn of either side; for the times printed
    std::function<void()> prepare = [] {};      ///< before the first round of the row
    std::function<void()> before_turn = [] {};  ///< before each turn of either side, not timed
    std::function<void()> limit;
    std::function<void()> ours;
    std::function<void()> finish = [] {};  ///< after the last
    RowFigure figure = RowFigure::kTime;
    RowClock clock = RowClock::kProcessor;
    int rounds = 7;
};

/// Runs the rows one after another and prints a line of each: the nanoseconds an item of both sides
/// (best round), then the ratio of the best rounds and the median of the rounds' ratios.
///
/// `arguments` are those of the program: `[ROUNDS [TEXT]]`; only rows with TEXT in their name are
/// run. Returns the exit status.
int RunRows(int count, char** arguments, const std::vector<Row>& rows);

/// Ends the program with a message: a side that failed has no time.
[[noreturn]] void RowFailed(const char* what);

/// Name of a file for the sides to write, in $TMPDIR, /dev/shm when there is none.
std::string RowFile(const std::string& name);
