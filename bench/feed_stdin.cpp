// SPDX-License-Identifier: MIT
// feed_stdin FILE PROGRAM [ARGS...]: runs PROGRAM with FILE as its standard input. It lets
// hyperfine time a whole process that reads stdin without a shell in between; the reference
// command goes through it as well, so its cost is in both sides of every ratio.
#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    int fd = open(argv[1], O_RDONLY);
    if (fd < 0 || dup2(fd, STDIN_FILENO) < 0)
        return 2;
    close(fd);
    execv(argv[2], argv + 2);
    return 127;
}
