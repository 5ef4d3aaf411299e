// SPDX-License-Identifier: MIT
#include "Platform/QuietSend.h"

#include <sys/socket.h>

ssize_t sendWithoutSignal(int socketFd, const void* bytes, size_t length) {
    return send(socketFd, bytes, length, MSG_NOSIGNAL);
}
