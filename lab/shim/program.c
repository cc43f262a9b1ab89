/* SPDX-License-Identifier: GPL-2.0-or-later */
/* Calls that libfrr makes too: only the program's own are of interest. */
#include "shim.h"

#include <elf.h>
#include <link.h>
#include <stdint.h>
#include <unistd.h>

/* Where the program's code and data lie, its libraries' not. */
static struct { uintptr_t begin, end; } program = {.begin = UINTPTR_MAX};

static int measure_program(struct dl_phdr_info *object, size_t size, void *unused) {
    (void)size;
    (void)unused;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        const ElfW(Phdr) *part = &object->dlpi_phdr[i];
        if (part->p_type != PT_LOAD)
            continue;
        uintptr_t begin = object->dlpi_addr + part->p_vaddr;
        if (begin < program.begin)
            program.begin = begin;
        if (begin + part->p_memsz > program.end)
            program.end = begin + part->p_memsz;
    }
    return 1; /* the program comes first: that was all */
}

__attribute__((constructor)) static void find_program(void) {
    dl_iterate_phdr(measure_program, NULL);
}

/* Has to stand in the faked function itself. */
#define BY_PROGRAM() is_in_program((uintptr_t)__builtin_return_address(0))

static bool is_in_program(uintptr_t address) {
    return address >= program.begin && address < program.end;
}

int seteuid(uid_t user) {
    if (BY_PROGRAM() && control_fails("seteuid"))
        return -1;
    return REAL(seteuid)(user);
}

/* libfrr's allocator, asked for more than there can be: what it does then is its own. */
void *qmalloc(void *type, size_t size);

void *qmalloc(void *type, size_t size) {
    static __typeof__(&qmalloc) real;

    if (!real)
        real = REAL(qmalloc);
    return real(type, BY_PROGRAM() && control_fails("qmalloc") ? (size_t)PTRDIFF_MAX : size);
}
