// Configuration: options by key path, such as "/lumrd/pointmemory", each with a text.
//
// Options come from a chain of "lumenarc.ini" files, which ConfigLoad() reads when it is called;
// until then every lookup answers nothing and callers use their own defaults.
// docs/configuration.md describes the files.
//
// Units      none: an option is a text, and what it counts is its reader's business.
// Errors     what is missing is null or the given fallback; files that are missing and lines that
//            are malformed are skipped.
// Ownership  texts belong to the store and live as long as the shared object is loaded.
// Threads    any function from any thread at any time; lookups take no lock.

#pragma once

#include <string>
#include <vector>

/// The text of the entry read last whose key is `key`, byte for byte; null when there is none.
const char* ConfigGet(const char* key);

/// The same as a copy that the caller frees with free().
char* ConfigGetCopy(const char* key);

/// The option as a count: a decimal number from 1 up, one beyond int as the largest int; a leading
/// number is enough. `fallback` when it is missing, no number, 0 or negative.
int ConfigGetCount(const char* key, int fallback);

/// Appends every key that begins with `prefix`, the one read last first, as often as it was read.
void ConfigListPrefix(const char* prefix, std::vector<std::string>* keys);

/// 1 for "YES", "ON", "TRUE", "yes", "on", "true", 0 for their opposites, `fallback` for any other
/// text, mixed case included, and for null.
int ConfigParseBool(const char* text, int fallback);

/// A word and what it stands for. A table of them ends with a null name.
struct ConfigWord {
    const char* name;
    int value;
};

/// What `text` stands for in `table`, byte for byte; `fallback` when it is not there or null.
int ConfigLookupWord(const char* text, const ConfigWord* table, int fallback);

/// Where the host is installed: set by ConfigLoad() from the environment, "/usr/local/lumrd" if
/// that says nothing.
const char* ConfigRoot();

/// The environment variable that holds the install root; "LUMRTREE" to begin with, and asked as
/// well when this one is unset. Null or empty puts it back. Takes effect with ConfigLoad().
void ConfigSetRootVariable(const char* name);

/// Reads the chain of files, once per process; the store must be empty, else only the rest of
/// loading is done. A call during another thread's waits for that; a call from within, by a
/// message handler, returns at once.
void ConfigLoad();

/// Reads one file into the store; its entries hide those of the same key read before.
void ConfigReadFile(const char* path);
