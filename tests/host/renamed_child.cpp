/* Takes a new kernel name and a new title, then waits to be ended.
 * renamed_child SHORT_NAME TITLE ROOM: an empty text keeps what there is; ROOM makes place for the title. */
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    if (*argv[1] != '\0')
        prctl(PR_SET_NAME, argv[1]);
    char title[256] = "";
    strncpy(title, argv[2], sizeof title - 1);
    if (*title != '\0') {
        // The arguments lie one behind the other, and the kernel shows this memory as the command line.
        size_t room = static_cast<size_t>(argv[3] + strlen(argv[3]) - argv[0]);
        memset(argv[0], '\0', room);
        memcpy(argv[0], title, std::min(strlen(title), room));
    }
    if (write(STDOUT_FILENO, "r", 1) != 1)
        return 1;
    alarm(30); // nobody is left to end a child whose test was killed
    pause();
    return 0;
}
