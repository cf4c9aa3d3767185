// The line grammar against a second parser, and files that mean harm.

#include <cstring>
#include <random>

#include "tests/util/config_files.h"

namespace {

class UtilConfigGrammar : public ConfigFiles {
protected:
    /// References replaced, character by character; nothing here is longer than the limit.
    static std::string Replaced(const char* value) {
        std::string out;
        while (*value) {
            const char* const close =
                value[0] == '$' && value[1] == '{' ? std::strchr(value, '}') : nullptr;
            if (!close) {
                out += *value++;
                continue;
            }
            std::string name(value + 2, close), fallback;
            if (const char* const dash = std::strchr(name.c_str(), '-')) {
                fallback = dash + 1;
                name.resize(static_cast<std::size_t>(dash - name.c_str()));
            }
            const char* const set = std::getenv(name.c_str());
            out += name == "LUMRTREE" ? "/usr/local/lumrd" : set ? set : fallback;
            value = close + 1;
        }
        return out;
    }

    /// The grammar in the terms of the C library: lines by fgets' rule, tokens by strtok.
    static Entries Parsed(const std::string& bytes) {
        Entries entries;
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t newline = std::min(bytes.find('\n', at), bytes.size() - 1);
            std::string line = bytes.substr(at, std::min<std::size_t>(newline + 1 - at, 4095));
            at += line.size();
            char* const key = strtok(line.data(), " \t\r\n");
            if (!key || *key == '#') continue;
            char* value = strtok(nullptr, "\n\r");
            if (!value) continue;
            while (*value == ' ' || *value == '\t') ++value;
            std::size_t length = std::strlen(value);
            while (length && (value[length - 1] == ' ' || value[length - 1] == '\t')) --length;
            value[length] = '\0';
            entries.emplace_back(key, Replaced(value));
        }
        return entries;
    }

    void ExpectSame(const std::string& bytes) {
        const Entries wanted = Parsed(bytes);
        const Entries read = Read(bytes);
        ASSERT_EQ(read.size(), wanted.size());
        for (std::size_t i = 0; i < read.size(); ++i)
            ASSERT_EQ(read[i], wanted[i]) << "entry " << i;
    }
};

TEST_F(UtilConfigGrammar, AHundredThousandRandomLinesReadAsTheSecondParserSays) {
    Set("A", "a ${B} z");
    Set("B", "");
    const std::vector<std::string> pieces = {" ",
                                             " ",
                                             "\t",
                                             "\r",
                                             "#",
                                             "k",
                                             "/key",
                                             "=",
                                             "$",
                                             "${",
                                             "}",
                                             "-",
                                             "A",
                                             "B",
                                             "C",
                                             "${A}",
                                             "%n",
                                             "${C-",
                                             "${B}",
                                             "${LUMRTREE}",
                                             "\xff\x80",
                                             "word",
                                             std::string(1, '\0')};
    std::mt19937 random(1);
    std::string bytes;
    for (int line = 0; line < 100'000; ++line) {
        for (auto left = random() % 9; left > 0; --left) bytes += pieces[random() % pieces.size()];
        bytes += random() % 50 ? "\n" : "\r\n";
        if (random() % 5000 == 0) bytes += "k " + std::string(4085 + random() % 20, 'v') + " 2\n";
    }
    ExpectSame(bytes);
    EXPECT_GT(Parsed(bytes).size(), 20'000u);
}

TEST_F(UtilConfigGrammar, HostileFilesAreReadLikeAnyOther) {
    Set("A", "a");
    std::string references = "k ";
    for (int i = 0; i < 10'000; ++i) references += i % 2 ? "${A}" : "${A-${";
    const std::string file[] = {
        std::string(1 << 20, 'k'),                   // one line, one key, no end
        "k " + std::string(1 << 20, 'v'),            // one value, cut many times
        std::string(1 << 20, ' '),                   // nothing but blanks
        std::string(1 << 20, '\0'),                  // nothing but zeros
        references,                                  // half of them without an end
        "k " + std::string(10'000, '$'),             // none of them a reference
        std::string("k \0 v\n\0k v\nk v\0w\n", 16),  // a zero byte ends its line's text
        "k v\n#" + std::string(5000, 'c') + " v",    // the rest of a comment is no comment
        std::string(4093, 'k') + " v",               // the value begins on the next line
        std::string(4094, 'k') + " v",               // its blank does
        "",
    };
    for (const std::string& bytes : file) ExpectSame(bytes);
    ConfigStore store;
    store.ReadFile(nullptr);
    store.ReadFile("");
    store.ReadFile(folder_.c_str());  // a folder opens and cannot be read
    EXPECT_EQ(store.Newest(), nullptr);
}

}  // namespace
