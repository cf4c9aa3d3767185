// Every read of every command of ptc fails once: the command fails, and its target stays.

#include <optional>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tests/tools/run_tool.h"

namespace {

struct FailingRun {
    ToolRun run;
    bool is_of_output;  ///< it failed for a file that is only written
};

/// Runs `arguments` with the call number `call` failing; nothing: there are not so many calls.
std::optional<FailingRun> RunFailing(const ToolFolder& folder, const std::string& arguments,
                                     const std::string& input, int call) {
    const ScratchFolder notes;
    const std::string note = notes.File("failed");
    const ToolRun run =
        folder.Shell("FAILING_FILE=" + input + " FAILED_NOTE=" + note +
                     " FAILING_CALL=" + std::to_string(call) + " " FAILING_TOOL " " + arguments);
    if (std::filesystem::exists(note)) return FailingRun{run, ContentOf(note) == "output"};
    EXPECT_EQ(run.status, 0) << run.err;
    return std::nullopt;
}

TEST(PtcReadErrors, FailEachCommandAndLeaveItsTarget) {
    const ToolFolder folder;
    folder.Write("a.ptc", sound_cloud::Bytes({.points = 1000}));
    folder.Write("a.txt", sound_cloud::Bytes({.points = 400, .form = TokenForm::kText}));
    folder.Write("flat.ptc", sound_cloud::Bytes({.points = 5000, .has_nodes = false}));
    for (const char* table : {"a.gz", "a.ply", "a.csv"})
        folder.Convert(std::string("flat.ptc ") + table);
    folder.Write("bare.csv", "x,y,z\n1,2,3\n4,5,6\n");
    folder.Write("near.csv", "x,y,z\n1,2,3.25\n4,5,6\n");
    folder.Convert("bare.csv bare.ptc --radius 1");
    folder.Convert("near.csv near.ptc --radius 1");
    EXPECT_EQ(folder.Run("pack a.zip a.txt --no-picture --no-header").status, 0);
    folder.Write("out", "an older file");
    const auto before = folder.Names();
    const struct {
        std::string input;
        std::string arguments;
        bool retries = false;  // the library tries some reads again
        int failed = 1;        // the exit status of a failure
    } commands[] = {
        {"a.ptc", "info --json a.ptc"},
        {"a.ptc", "print --csv a.ptc"},
        {"a.ptc", "print --csv --range 900:2 - <a.ptc"},
        {"a.ptc", "print --nodes a.ptc"},
        {"a.txt", "print --csv a.txt"},
        {"a.ptc", "find a.ptc 'x >= 0' --csv", false, 2},
        {"a.txt", "find - 'x >= 0' --count <a.txt", false, 2},
        {"a.ptc", "check a.ptc"},
        {"a.txt", "check --all a.txt"},
        {"a.gz", "check a.gz"},
        {"a.ptc", "repair a.ptc a.ptc"},
        {"a.txt", "repair a.txt out"},
        {"flat.ptc", "repair flat.ptc flat.ptc"},
        {"a.gz", "repair a.gz out"},
        {"a.ptc", "repair - out <a.ptc"},
        {"a.ptc", "edit a.ptc -o out"},
        {"a.ptc", "edit a.ptc -o out --set nx=1"},
        {"a.txt", "edit - -o out --where 'x == x' <a.txt"},
        {"a.gz", "edit a.gz -o out --form gzip --thin --transform 1,0,0,0,0,2,0,0,0,0,1,0,0,0,0,1"},
        {"flat.ptc", "edit flat.ptc -o flat.ptc --where 'x == x'"},
        {"a.ptc", "convert a.ptc out --to binary"},
        {"a.txt", "convert a.txt out --to ply"},
        {"a.gz", "convert a.gz out --to text"},
        {"a.ply", "convert a.ply out --to gzip"},
        {"a.csv", "convert a.csv out --to csv"},
        {"bare.csv", "convert bare.csv out --to csv"},
        {"flat.ptc", "diff flat.ptc a.gz", false, 2},
        {"a.txt", "diff a.txt - <a.txt", false, 2},
        {"near.ptc", "diff --unordered --tolerance 0.5 bare.ptc near.ptc", true, 2},
        {"flat.ptc", "view flat.ptc -o out --size 8x8"},
        {"a.txt", "view a.txt -o out --size 8x8"},
        {"a.ptc", "pack - a.ptc >/dev/null"},
        {"a.zip", "info a.zip/a.txt"},
        {"a.ptc", "stats a.ptc --threads 1"},
        {"a.ptc", "organize a.ptc -o out", true},
        {"flat.ptc", "organize flat.ptc -o - --memory 1 --threads 1 >/dev/null"},
        {"a.txt", "organize a.txt -o out --drop-repeats", true},
        {"a.gz", "merge flat.ptc a.gz -o out", true},
        {"a.ptc", "query a.ptc --at 1,2,-1 --count 3"},
        {"a.txt", "query a.txt --at 1,2,-1 --count 1000 --csv", true},
        {"a.csv", "query a.ptc --at-points a.csv --count 1 --csv"},
        {"a.ptc", "transfer a.ptc --onto bare.csv -o out"},
        {"a.gz", "transfer a.gz --onto bare.csv -o out"},
        {"flat.ptc", "transfer a.ptc --onto flat.ptc -o out --replace"},
    };
    for (const auto& [input, arguments, retries, failed] : commands) {
        const std::string content = folder.Content(input);
        const ToolRun sound = folder.Run(arguments);
        EXPECT_EQ(sound.status, 0) << arguments;
        const std::string whole = folder.Content("out");
        folder.Write("out", "an older file");
        int call = 0;
        for (; const auto failing = RunFailing(folder, arguments, input, call); ++call) {
            SCOPED_TRACE(arguments + ", call " + std::to_string(call));
            const ToolRun& run = failing->run;
            EXPECT_EQ(folder.Names(), before);
            EXPECT_TRUE(folder.Content(input) == content);
            if (run.status == 0 && (failing->is_of_output || retries)) {
                EXPECT_TRUE(whole != "an older file" || run.out == sound.out);
                // What a writer tries again, and then can do, loses nothing.
                EXPECT_TRUE(folder.Content("out") == whole);
                folder.Write("out", "an older file");
            } else {
                EXPECT_EQ(run.status, failed) << run.out;
                EXPECT_EQ(run.err.find('\n') + 1, run.err.size()) << run.err;
                EXPECT_TRUE(folder.Content("out") == "an older file");
            }
            if (HasFailure()) return;
        }
        EXPECT_GT(call, 1) << arguments;
        folder.Write("out", "an older file");
    }
}

// What is not on disk when the name is given would be lost in a power cut.
TEST(PtcReadErrors, ATargetWhoseBytesAreNotStoredKeepsItsOldOnes) {
    const ToolFolder folder;
    folder.Write("a.ptc", sound_cloud::Bytes());
    folder.Write("out", "an older file");
    const ToolRun run =
        folder.Shell("FAILING_SYNC=1 " FAILING_TOOL " convert a.ptc out --to binary");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ptc: out: Input/output error\n");
    EXPECT_EQ(folder.Content("out"), "an older file");
}

}  // namespace
