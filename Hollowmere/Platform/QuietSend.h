// SPDX-License-Identifier: MIT
// Writing to a socket whose peer may have gone: the failure comes back as an error return, never
// as SIGPIPE, which would end the whole app.
#pragma once

#include <cstddef>
#include <sys/types.h>

ssize_t sendWithoutSignal(int socketFd, const void* bytes, size_t length);
