// SPDX-License-Identifier: MIT
#include "Platform/PeerCredentials.h"

#include <unistd.h>

std::optional<uid_t> peerUid(int socketFd) {
    uid_t uid = 0;
    gid_t gid = 0;
    if (getpeereid(socketFd, &uid, &gid) != 0)
        return std::nullopt;
    return uid;
}
