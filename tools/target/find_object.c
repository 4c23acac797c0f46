/* The unwinder of this compiler was made for a C library that has _dl_find_object; uClibc-ng has dl_iterate_phdr. */
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>

struct found_object {
    unsigned long long flags;
    void *map_start;
    void *map_end;
    struct link_map *link_map;
    void *eh_frame;
    unsigned long long reserved[7];
};

struct search {
    ElfW(Addr) address;
    struct found_object *result;
    int found;
};

static int look_at(struct dl_phdr_info *object, size_t size, void *argument)
{
    struct search *search = argument;
    const ElfW(Phdr) *unwind_table = NULL;
    int holds_it = 0;
    (void)size;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr) *part = &object->dlpi_phdr[i];
        const ElfW(Addr) start = object->dlpi_addr + part->p_vaddr;
        if (part->p_type == PT_GNU_EH_FRAME)
            unwind_table = part;
        if (part->p_type != PT_LOAD || search->address < start || search->address >= start + part->p_memsz)
            continue;
        holds_it = 1;
        search->result->map_start = (void *)start;
        search->result->map_end = (void *)(start + part->p_memsz);
    }
    if (!holds_it || unwind_table == NULL)
        return 0;
    search->result->flags = 0;
    search->result->link_map = NULL;
    search->result->eh_frame = (void *)(object->dlpi_addr + unwind_table->p_vaddr);
    search->found = 1;
    return 1;
}

int _dl_find_object(void *address, struct found_object *result);

int _dl_find_object(void *address, struct found_object *result)
{
    struct search search = {(ElfW(Addr))address, result, 0};
    dl_iterate_phdr(look_at, &search);
    return search.found ? 0 : -1;
}
