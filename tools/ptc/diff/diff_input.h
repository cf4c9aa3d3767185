// DiffInput: one of the two clouds that are compared, its records from the first to the last.
//
// Units      records of CloudReader::PointBytes() bytes, in the binary form whatever the file's is.
// Errors     a Failure that names the file; a record that is missing is one, and so is one that
//            the system cannot read.
// Ownership  owns the open file.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/common/input_file.h"
#include "tools/ptc/open_input.h"

class DiffInput {
public:
    explicit DiffInput(const std::string& name) : file_(name), opened_(OpenInput(file_)) {}

    const InputFile& File() const { return file_; }
    const CloudReader& Cloud() const { return *opened_.cloud; }
    std::size_t RecordBytes() const { return Cloud().PointBytes(); }

    /// Fills `records`, which has room for whole ones, with the next ones.
    /// Caller: the header counts so many.
    void Read(std::span<std::byte> records);

private:
    InputFile file_;
    OpenedCloud opened_;
    std::int64_t next_ = 0;
};
