// SharedObject: a shared object that is loaded while the program runs, looked up along folders.
//
// Units      none.
// Errors     Load() answers false, and Tried() has a line for each place: its path and the reason
// in
//            the loader's words. Throws std::bad_alloc.
// Ownership  keeps the object loaded until it is destroyed.
// Threads    one caller at a time; the loader has one place for its last error a thread.
//
// Loading runs the object's constructors, which may do anything. Every symbol is resolved at once,
// so that a missing one fails here and not when it is first called.

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// How objects are loaded.
struct SharedObjectFlags {
    bool deep_bind = false;  ///< its own symbols come before those of the program
    bool is_global = false;  ///< its symbols are seen by objects that are loaded later

    /// As the options "/platform/linux/rtlddeepbind" and "/platform/linux/rtldglobalextension" say;
    /// without them neither.
    static SharedObjectFlags FromConfiguration();
};

class SharedObject {
public:
    explicit SharedObject(SharedObjectFlags flags) : flags_(flags) {}

    /// Loads the first of `names` that can be loaded, of the first folder that has one. Empty
    /// folders are passed over: an empty word in a list of them is a slip of the pen more often
    /// than a wish for the current folder. Caller: names without slashes, and nothing is loaded
    /// yet.
    [[nodiscard]] bool LoadAlong(const std::vector<std::string>& folders,
                                 const std::vector<std::string>& names);

    /// Loads this very file; without a slash it is in the current folder.
    [[nodiscard]] bool LoadFile(const std::string& file);

    /// The file that was loaded.
    const std::string& File() const { return file_; }

    /// What could not be loaded, in order: "PATH: REASON", safe to print, each one line.
    const std::vector<std::string>& Tried() const { return tried_; }
    /// Of these, what is a file: a search that went on may have found another one than was meant.
    const std::vector<std::string>& PassedOver() const { return passed_over_; }

    /// The address of a symbol, as long as the object is loaded; null when there is none.
    void* Find(const char* symbol) const;

private:
    struct Unload {
        void operator()(void* handle) const;
    };

    void Note(const std::string& path, std::string_view reason, bool is_file);

    const SharedObjectFlags flags_;
    std::unique_ptr<void, Unload> handle_;
    std::string file_;
    std::vector<std::string> tried_;
    std::vector<std::string> passed_over_;
};

/// The folders of a list "FOLDER:FOLDER:...", the empty ones left out.
std::vector<std::string> FoldersOf(std::string_view list);
