// SPDX-License-Identifier: MIT
#include "Platform/PeerCredentials.h"

#include <sys/socket.h>

std::optional<uid_t> peerUid(int socketFd) {
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (getsockopt(socketFd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 ||
        length != sizeof credentials)
        return std::nullopt;
    return credentials.uid;
}
