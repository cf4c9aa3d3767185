// Spool: a temporary file without a name, for streams that have to be files.
//
// Units      bytes.
// Errors     a Failure with the system's reason.
// Ownership  owns its descriptor; the system removes the file with it, however the program ends.
// Threads    one caller at a time.

#pragma once

#include <string>

class Spool {
public:
    /// An empty file in the folder that TMPDIR names, or in /tmp.
    Spool();
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    /// A name under which this process may open the file, from its start, as often as it likes.
    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    int Descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

/// Copies from the current place of `from` to its end into `to`. The names are for messages.
void CopyDescriptor(int from, const std::string& from_name, int to, const std::string& to_name);
