// Configuration: options, each a key path such as "/lumrd/pointmemory" with a text as its value.
//
// Options come from several "lumenarc.ini" files, which ConfigLoad() reads. Before that there are
// no options, and callers use their own defaults. docs/configuration.md describes the files.
//
// Units      none: an option is a text, and its reader knows the unit.
// Errors     a missing option is null or the given fallback; missing files and malformed lines are
//            skipped.
// Ownership  texts belong to the store and are valid as long as the shared object is loaded.
// Threads    any function from any thread at any time; lookups take no lock.

#pragma once

#include <cstdio>
#include <string>
#include <vector>

/// The value of `key`, which is compared byte for byte; of several entries the one read last. Null
/// when there is none.
const char* ConfigGet(const char* key);

/// A copy of ConfigGet()'s text, which the caller frees with free().
char* ConfigGetCopy(const char* key);

/// The option as a count: the decimal number that its text begins with, at most the largest int.
/// `fallback` when the option is missing, begins with no number, or the number is below 1.
int ConfigGetCount(const char* key, int fallback);

/// Appends every key that begins with `prefix`, once for each entry, the entry read last first.
void ConfigListPrefix(const char* prefix, std::vector<std::string>* keys);

/// 1 for "YES", "ON", "TRUE", "yes", "on", "true", 0 for their opposites, `fallback` for any other
/// text, mixed case included, and for null.
int ConfigParseBool(const char* text, int fallback);

/// A word and its value. A null name ends a table of them.
struct ConfigWord {
    const char* name;
    int value;
};

/// The value of `text` in `table`, compared byte for byte; `fallback` when it is missing or null.
int ConfigLookupWord(const char* text, const ConfigWord* table, int fallback);

/// The folder in which the host is installed. ConfigLoad() reads it from the environment; it is
/// "/usr/local/lumrd" if no variable is set.
const char* ConfigRoot();

/// Sets the name of the environment variable that holds the install root; ConfigLoad() reads it.
/// "LUMRTREE" is the default and is used when the named variable is unset; null or an empty name
/// restores it.
void ConfigSetRootVariable(const char* name);

/// Loads the configuration, once for each process. Reads the files only if the store is empty: a
/// host that has read files of its own gets no others. If another thread is loading, waits until it
/// is done; a call by a message handler during the loading returns at once.
void ConfigLoad();

/// Sets where the loading prints what it reads when "LUMR_DUMP_DEFAULTS" is set; null: on standard
/// output, as without this call. Caller: keeps the stream open.
void ConfigSetDumpStream(std::FILE* stream);

/// Reads one file into the store; its entries hide earlier ones with the same key.
void ConfigReadFile(const char* path);
