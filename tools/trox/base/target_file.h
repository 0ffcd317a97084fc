// Where a file that replaces another one really goes, and what must not be replaced.
#ifndef TROX_BASE_TARGET_FILE_H
#define TROX_BASE_TARGET_FILE_H

#include <cstddef>
#include <string>
#include <sys/types.h>

namespace trox_base
{

/// The name that a chain of links leads to, there or not, so that the links stay. A chain without end stays as it is.
std::string resolve_links(const std::string& path);

/// Whether there is a terminal, pipe, socket or device of that name: it takes bytes as they come, and nothing may be
/// put in its place.
bool takes_bytes_as_they_come(const std::string& path);

/// Whether both names lead to one existing file.
bool is_same_file(const std::string& a, const std::string& b);

/// Whether two names lead to one place, whether or not there is a file yet.
bool is_same_place(const std::string& a, const std::string& b);

/// A hidden name beside a target, which begins like the target's and leaves `room` bytes of a name for an ending.
std::string hidden_name(const std::string& target, std::size_t room);

/// What a file may be opened for while it is written: what the one may that it is going to replace, else what the umask
/// leaves; by its owner in any case.
mode_t permissions_while_made(const std::string& target);

/// Gives a whole new file the name of another one, which it replaces; the permissions stay those of the one that is
/// replaced. Whether it is done; otherwise errno says why not: ELOOP for a target that is a link (to itself), see
/// resolve_links.
bool put_in_place(const std::string& made, const std::string& target);

/// Gives a file a new name; fails with EEXIST when there is something of that name.
bool put_in_new_place(const std::string& made, const std::string& target);

} // namespace trox_base

#endif
