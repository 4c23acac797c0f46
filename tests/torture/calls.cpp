#include "torture/calls.h"

#include "support/recording_host.h"
#include "torture/faults.h"
#include "torture/held.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <string_view>
#include <sys/mman.h>

extern "C" {
void nas_torture_trampoline(void);
nas_torture::Function nas_torture_answer(std::size_t number);
}

namespace nas_torture
{
namespace
{

// One imported function: what answers when it passes and when it fails.
struct Entry {
    const char *name;
    Function passing;
    Function failing;
    bool answers;
};

std::vector<Entry> &entries()
{
    static std::vector<Entry> all;
    return all;
}

Fault wanted = Fault::none;
int failing_call;
int calls;
const Entry *first_failed;
std::span<char> failed_name;
void (*last_act)();

[[noreturn]] void end_by_kill()
{
    last_act();
    raise(SIGKILL);
    std::abort();
}

void note_failed(const Entry &entry)
{
    if (first_failed != nullptr)
        return;
    first_failed = &entry;
    std::snprintf(failed_name.data(), failed_name.size(), "%s", entry.name);
}

// The parts of the library's dynamic section that describe its table.
struct Library {
    std::uintptr_t base = 0;
    const Elf64_Sym *symbols = nullptr;
    const char *names = nullptr;
    std::vector<std::pair<const Elf64_Rela *, std::size_t>> relocations = {}; // with their number
};

int look_for_library(dl_phdr_info *object, std::size_t, void *result)
{
    if (std::strstr(object->dlpi_name, "/libnas.so") == nullptr)
        return 0;
    auto &library = *static_cast<Library *>(result);
    library.base = object->dlpi_addr;
    const Elf64_Rela *lazy = nullptr;
    const Elf64_Rela *other = nullptr;
    std::size_t lazy_size = 0;
    std::size_t other_size = 0;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        if (object->dlpi_phdr[i].p_type != PT_DYNAMIC)
            continue;
        auto *entry = reinterpret_cast<const Elf64_Dyn *>(library.base + object->dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            switch (entry->d_tag) {
            case DT_SYMTAB:
                library.symbols = reinterpret_cast<const Elf64_Sym *>(entry->d_un.d_ptr);
                break;
            case DT_STRTAB:
                library.names = reinterpret_cast<const char *>(entry->d_un.d_ptr);
                break;
            case DT_JMPREL:
                lazy = reinterpret_cast<const Elf64_Rela *>(entry->d_un.d_ptr);
                break;
            case DT_PLTRELSZ:
                lazy_size = entry->d_un.d_val;
                break;
            case DT_RELA:
                other = reinterpret_cast<const Elf64_Rela *>(entry->d_un.d_ptr);
                break;
            case DT_RELASZ:
                other_size = entry->d_un.d_val;
                break;
            default:
                break;
            }
        }
    }
    library.relocations = {{lazy, lazy_size / sizeof *lazy}, {other, other_size / sizeof *other}};
    return 1;
}

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::abort();
}

// "mov $number, %r11d; movabs $trampoline, %rax" would lose rax, which counts the vector arguments: r10 is free.
Function make_way(std::size_t number)
{
    static unsigned char *next = nullptr;
    static std::size_t left = 0;
    constexpr std::size_t size = 32;
    if (left < size) {
        left = 16384;
        void *const page = mmap(nullptr, left, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED)
            fail("mmap");
        next = static_cast<unsigned char *>(page);
    }
    unsigned char *const way = next;
    const auto short_number = static_cast<std::uint32_t>(number);
    const auto target = reinterpret_cast<std::uintptr_t>(&nas_torture_trampoline);
    std::memcpy(way, "\x41\xbb", 2); // mov $number, %r11d
    std::memcpy(way + 2, &short_number, 4);
    std::memcpy(way + 6, "\x49\xba", 2); // movabs $target, %r10
    std::memcpy(way + 8, &target, 8);
    std::memcpy(way + 16, "\x41\xff\xe2", 3); // jmp *%r10
    next += size;
    left -= size;
    return reinterpret_cast<Function>(way);
}

void rewrite(std::uintptr_t slot, Function function)
{
    constexpr std::uintptr_t page = 4096;
    auto *const start = reinterpret_cast<void *>(slot & ~(page - 1));
    if (mprotect(start, 2 * page, PROT_READ | PROT_WRITE) != 0 && mprotect(start, page, PROT_READ | PROT_WRITE) != 0)
        fail("mprotect");
    std::memcpy(reinterpret_cast<void *>(slot), &function, sizeof function);
}

bool is_sanitizers(std::string_view name)
{
    return name.starts_with("__asan_") || name.starts_with("__ubsan_") || name.starts_with("__sanitizer_");
}

// Only functions of others: data, and what the library has itself, stay.
bool is_imported_function(const Elf64_Sym &symbol)
{
    return symbol.st_shndx == SHN_UNDEF && ELF64_ST_TYPE(symbol.st_info) != STT_OBJECT &&
           ELF64_ST_BIND(symbol.st_info) != STB_WEAK;
}

void take_over(const Library &library, const Elf64_Rela &relocation, std::vector<std::string> &unknown)
{
    const auto type = ELF64_R_TYPE(relocation.r_info);
    const Elf64_Sym &symbol = library.symbols[ELF64_R_SYM(relocation.r_info)];
    if ((type != R_X86_64_JUMP_SLOT && type != R_X86_64_GLOB_DAT) || !is_imported_function(symbol))
        return;
    const char *const name = library.names + symbol.st_name;
    const Import *const import = find_import(name);
    if (import == nullptr) {
        if (!is_sanitizers(name))
            unknown.emplace_back(name);
        return;
    }
    const auto real = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
    if (real == nullptr)
        fail(name);
    entries().push_back({name, import->passing == nullptr ? real : import->passing, import->failing, import->answers});
    rewrite(library.base + relocation.r_offset, make_way(entries().size() - 1));
}

} // namespace

std::vector<std::string> stand_in_front()
{
    Library library;
    if (dl_iterate_phdr(look_for_library, &library) == 0)
        fail("libnas.so is not loaded");
    std::vector<std::string> unknown;
    for (const auto &[first, count] : library.relocations) {
        for (std::size_t i = 0; i < count; ++i)
            take_over(library, first[i], unknown);
    }
    return unknown;
}

void arm(Fault fault, int call, std::span<char> failed)
{
    wanted = fault;
    failing_call = call;
    calls = 0;
    first_failed = nullptr;
    failed_name = failed;
}

void set_last_act(void (*act)())
{
    last_act = act;
}

Outcome disarm()
{
    wanted = Fault::none;
    return {calls, first_failed != nullptr && first_failed->answers};
}

} // namespace nas_torture

nas_torture::Function nas_torture_answer(std::size_t number)
{
    using namespace nas_torture;
    const int error = errno;
    const Entry &entry = entries()[number];
    Function answer = entry.passing;
    if (entry.failing != nullptr && nas_test::in_library()) {
        ++calls;
        if (calls == failing_call || (wanted == Fault::onward && calls > failing_call)) {
            note_failed(entry);
            answer = entry.failing;
        }
        if (calls == failing_call && wanted == Fault::killed)
            end_by_kill();
    }
    errno = error;
    return answer;
}
