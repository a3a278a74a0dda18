// Reserving the arrays a reader fills with its pages mapped in one call.
#ifndef KXRESERVEMAPPED_H
#define KXRESERVEMAPPED_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

// Reserves `n` elements and has the system map all of their pages at once. Each page a process
// touches for the first time is otherwise a trap of its own, and on a virtual machine those
// traps cost more than filling the page: the arrays of a surface of a million triangles span
// some 6,000 pages. Where the system cannot, the pages come in as they are touched.
template <class T> void kxReserveMapped(std::vector<T>& v, std::size_t n)
{
    v.reserve(n);
#ifdef MADV_POPULATE_WRITE
    static const std::uintptr_t nPage = std::uintptr_t(sysconf(_SC_PAGESIZE));
    const std::uintptr_t nBegin = (std::uintptr_t(v.data()) + nPage - 1) & ~(nPage - 1);
    const std::uintptr_t nEnd = std::uintptr_t(v.data() + v.capacity()) & ~(nPage - 1);
    if (nPage > 0 && nEnd > nBegin)
        madvise(reinterpret_cast<void*>(nBegin), nEnd - nBegin, MADV_POPULATE_WRITE);
#endif
}

#endif // KXRESERVEMAPPED_H
