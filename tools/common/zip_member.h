// Members of zip archives as inputs: what names them, and their bytes.
//
// Units      bytes.
// Errors     a Failure that names the member as the user did.
// Ownership  the archive is open during a call only.
// Threads    any; each call by itself.

#pragma once

#include <optional>
#include <string>

#include "tools/common/spool.h"

struct ZipMemberName {
    std::string archive;  ///< the file
    std::string member;   ///< its name in the archive
};

/// What `name` is, if there is no file of that name and a leading part of it, which ends in ".zip",
/// is a regular file. Nothing: it is a name like any other.
std::optional<ZipMemberName> MemberNamed(const std::string& name);

/// Writes the member's bytes to `spool`, which is empty.
void InflateMember(const ZipMemberName& name, Spool* spool);

/// Fails when the regular file `path`, which the user calls `name`, is a zip archive; says how to
/// name a member. So does a read error.
void RefuseZip(const std::string& path, const std::string& name);
