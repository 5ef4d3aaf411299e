// SPDX-License-Identifier: MIT
#include "Platform/QuietSend.h"

#include <sys/socket.h>

ssize_t sendWithoutSignal(int socketFd, const void* bytes, size_t length) {
    // Darwin has no MSG_NOSIGNAL; the socket option does the same for this descriptor.
    int on = 1;
    setsockopt(socketFd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    return send(socketFd, bytes, length, 0);
}
