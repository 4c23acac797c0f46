#ifndef NAS_TESTS_MUTATION_SAMPLE_H
#define NAS_TESTS_MUTATION_SAMPLE_H

extern "C" {
int sample_limit(int value, int most);
const char *sample_word(int count);
void sample_fill(char *text, int count);
unsigned sample_steps(unsigned count);
void sample_note(char mark);
void sample_copy(char *to, const char *text);
extern char sample_notes[4];
}

inline int sample_next(int value)
{
    return value + 1;
}

#endif
