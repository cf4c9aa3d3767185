// A row of the table of figures: work of ours beside the limit that it is compared with.

#include "bench/rows/row.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

/// Processor time of the programs that have ended and were waited for.
double OfChildren() {
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double Now(RowClock clock) {
    timespec now{};
    clock_gettime(clock == RowClock::kWall ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &now);
    const double children = clock == RowClock::kChildren ? OfChildren() : 0;
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec) + children;
}

double Seconds(const Row& row, const std::function<void()>& work) {
    row.before_turn();
    const double begin = Now(row.clock);
    work();
    return Now(row.clock) - begin;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Run(const Row& row, int rounds) {
    const auto ratio = [&](double limit, double ours) {
        return row.figure == RowFigure::kTime ? ours / limit : limit / ours;
    };
    std::vector<double> limits, ours, ratios;
    row.prepare();
    (void)Seconds(row, row.limit);  // both sides once without a figure: memory, caches, files
    (void)Seconds(row, row.ours);
    for (int round = 0; round < rounds; ++round) {
        limits.push_back(Seconds(row, row.limit));
        ours.push_back(Seconds(row, row.ours));
        ratios.push_back(ratio(limits.back(), ours.back()));
    }
    const double best_limit = *std::min_element(limits.begin(), limits.end());
    const double best_ours = *std::min_element(ours.begin(), ours.end());
    std::printf("| %-46s | %-30s | %10.2f | %10.2f | %6.2f | %6.2f | %5.2f |\n", row.what.c_str(),
                row.limit_name.c_str(), best_limit / row.items * 1e9, best_ours / row.items * 1e9,
                ratio(best_limit, best_ours), Median(ratios), row.goal);
    std::fflush(stdout);
    row.finish();
}

}  // namespace

int RunRows(int count, char** arguments, const std::vector<Row>& rows) {
    const int rounds = count > 1 ? std::atoi(arguments[1]) : 0;
    const std::string text = count > 2 ? arguments[2] : "";
    if (count > 3 || (count > 1 && rounds < 1)) {
        std::fprintf(stderr, "usage: %s [ROUNDS [TEXT]]\n", arguments[0]);
        return 2;
    }
    for (const Row& row : rows) {
        if (row.what.find(text) == std::string::npos) continue;
        Run(row, rounds > 0 ? rounds : row.rounds);
    }
    return 0;
}

void RowFailed(const char* what) {
    std::fprintf(stderr, "failed: %s\n", what);
    std::exit(1);
}

std::string RowFile(const std::string& name) {
    const char* const folder = std::getenv("TMPDIR");
    return std::string(folder ? folder : "/dev/shm") + "/" + name + "." + std::to_string(getpid());
}
