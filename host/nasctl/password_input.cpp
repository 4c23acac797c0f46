#include "password_input.h"

#include "output.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace nasctl
{
namespace
{

/* While it lives, the terminal does not show what is typed. An interrupt is not delivered, so that the terminal is
 * never left like that: it ends the line. */
class HiddenInput
{
  public:
    HiddenInput()
    {
        tcgetattr(STDIN_FILENO, &kept_);
        termios hidden = kept_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
        hidden.c_cc[VEOL] = kept_.c_cc[VINTR];
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenInput()
    {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &kept_);
    }
    HiddenInput(const HiddenInput &) = delete;
    HiddenInput &operator=(const HiddenInput &) = delete;

  private:
    termios kept_ = {};
};

std::string ask(const char *question)
{
    char line[1024];
    ssize_t length;
    {
        HiddenInput hidden; // before the question: what is typed early is dropped when the terminal changes
        fputs(question, stderr);
        length = read(STDIN_FILENO, line, sizeof line);
    }
    fputs("\n", stderr);
    // A line that was not ended by the enter key was broken off.
    if (length <= 0 || line[length - 1] != '\n')
        throw UsageError("no password was given");
    return {line, static_cast<size_t>(length - 1)};
}

} // namespace

std::string read_password()
{
    if (isatty(STDIN_FILENO) != 0) {
        std::string password = ask("Password: ");
        if (ask("Again: ") != password)
            throw UsageError("both passwords differ");
        return password;
    }
    std::string line;
    if (!std::getline(std::cin, line))
        throw UsageError("a password is missing: give --password, or a line on standard input");
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

} // namespace nasctl
