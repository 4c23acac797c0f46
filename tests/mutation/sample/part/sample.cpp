// What the tool is tried on: a little of everything that it changes.
#include "part/sample.h"

#include <cstdlib>
#include <cstring>

char sample_notes[4];
static int noted;

int sample_limit(int value, int most)
{
    if (value < 0 || value > most)
        return -1;
    return value;
}

const char *sample_word(int count)
{
    return count == 1 ? "file" : "files";
}

void sample_fill(char *text, int count)
{
    for (int i = 0; i < count; i++)
        text[i] = 'x';
}

unsigned sample_steps(unsigned count)
{
    unsigned steps = 0;
    while (steps != count)
        steps++;
    return steps;
}

void sample_note(char mark)
{
    sample_notes[noted] = mark;
    noted = sample_next(noted);
    sample_notes[noted] = '\0';
}

void sample_copy(char *to, const char *text)
{
    char *copy = static_cast<char *>(malloc(strlen(text) + 1));
    strcpy(copy, text);
    strcpy(to, copy);
    free(copy);
}
