// SPDX-License-Identifier: MIT
// Who is at the other end of a connected Unix-domain socket. Both ends of the hook link trust
// only a peer of their own user.
#pragma once

#include <optional>
#include <sys/types.h>

// The effective user id of the peer of `socketFd`; nothing when the system cannot tell.
std::optional<uid_t> peerUid(int socketFd);
