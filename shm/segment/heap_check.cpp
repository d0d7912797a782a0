// The heap checker: walks every chunk from the base to the top and every bin, and compares what it
// finds with the statistics.
#include <algorithm>
#include <cstdarg>
#include <cinttypes>
#include <cstdio>
#include <vector>

#include "heap.h"

namespace lx::heap {
namespace {

__attribute__((format(printf, 2, 3))) bool fail(std::string &reason, const char *format, ...)
{
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    reason = text;
    return false;
}

inline const Chunk *at(const void *p, uint64_t offset)
{
    return reinterpret_cast<const Chunk *>(static_cast<const char *>(p) + offset);
}
inline const void *vp(const void *p) { return p; }

bool check_empty(const State *st, std::string &reason)
{
    for (unsigned i = 0; i < kBinCount; ++i)
        if (st->bins[i].fd != &st->bins[i] || st->bins[i].bk != &st->bins[i])
            return fail(reason, "bin %u of an unused heap is not linked to itself", i);
    if (st->binmap[0] || st->binmap[1])
        return fail(reason, "the bin map of an unused heap is not empty");
    if (st->system_bytes || st->in_use_bytes)
        return fail(reason, "an unused heap counts bytes");
    return true;
}

} // namespace

bool check(const State *st, const char *map_begin, const char *map_end, std::string &reason)
{
    if (st->magic != kStateMagic)
        return fail(reason, "the heap state is not initialised");
    const char *first_break = reinterpret_cast<const char *>(st) + seg::kBreakFromState;
    if (st->used > st->limit)
        return fail(reason, "the break used %" PRIu64 " bytes, over the limit %" PRIu64, st->used, st->limit);
    if (st->curSHMbrk != first_break + st->used)
        return fail(reason, "the break %p is not the first break plus the bytes used", vp(st->curSHMbrk));
    if (first_break + st->limit > map_end || first_break < map_begin)
        return fail(reason, "the allowance does not lie inside the mapping");
    if (st->top == nullptr)
        return check_empty(st, reason);

    const char *base = st->base;
    const char *top = reinterpret_cast<const char *>(st->top);
    if (base < first_break || top < base || top >= st->curSHMbrk)
        return fail(reason, "base %p or top %p lies outside the break", vp(base), vp(top));
    uint64_t top_size = size_of(st->top);
    if (top + top_size > st->curSHMbrk)
        return fail(reason, "the top chunk (%" PRIu64 " bytes) runs past the break", top_size);
    if (top_size < kMinChunk || top_size % kAlign)
        return fail(reason, "the top chunk has a bad size %" PRIu64, top_size);

    std::vector<const Chunk *> free_chunks;
    uint64_t total = 0, in_use = 0;
    bool prev_free = false;
    const Chunk *c = reinterpret_cast<const Chunk *>(base);
    while (reinterpret_cast<const char *>(c) != top) {
        const char *p = reinterpret_cast<const char *>(c);
        uint64_t size = size_of(c);
        if (size < kChunkHeader || size % kAlign)
            return fail(reason, "chunk %p has a bad size %" PRIu64, vp(c), size);
        if (size > static_cast<uint64_t>(top - p))
            return fail(reason, "chunk %p (%" PRIu64 " bytes) runs past the top", vp(c), size);
        if (static_cast<bool>(c->head & kPrevInUse) == prev_free)
            return fail(reason, "chunk %p says its neighbour before is %s", vp(c), prev_free ? "in use" : "free");
        const Chunk *next = at(c, size);
        bool is_free = !(next->head & kPrevInUse);
        if (is_free) {
            if (prev_free)
                return fail(reason, "free chunks %p and the one before it touch", vp(c));
            if (c->head & kGap)
                return fail(reason, "gap chunk %p is marked free", vp(c));
            if (size < kMinChunk)
                return fail(reason, "free chunk %p is smaller than a chunk", vp(c));
            if (next->prev_size != size)
                return fail(reason, "free chunk %p: the size after it says %" PRIu64 ", not %" PRIu64, vp(c),
                            next->prev_size, size);
            if (reinterpret_cast<const char *>(next) == top)
                return fail(reason, "free chunk %p borders the top", vp(c));
            free_chunks.push_back(c);
        } else if (!(c->head & kGap)) {
            if (size < kMinChunk)
                return fail(reason, "allocated chunk %p is smaller than a chunk", vp(c));
            in_use += size;
        }
        total += size;
        prev_free = is_free;
        c = next;
    }
    if (static_cast<bool>(st->top->head & kPrevInUse) == prev_free)
        return fail(reason, "the top's neighbour flag is wrong");
    if (prev_free)
        return fail(reason, "a free chunk borders the top");
    total += top_size;

    // Every bin entry must be one of the free chunks found above, in the bin for its size.
    std::sort(free_chunks.begin(), free_chunks.end());
    size_t listed = 0;
    for (unsigned i = 0; i < kBinCount; ++i) {
        const Links *head = &st->bins[i];
        bool nonempty = head->fd != head;
        if (nonempty != static_cast<bool>(st->binmap[i >> 6] & (uint64_t{1} << (i & 63))))
            return fail(reason, "the bin map disagrees with bin %u", i);
        const Links *prev = head;
        for (const Links *l = head->fd; l != head; prev = l, l = l->fd) {
            if (l->bk != prev)
                return fail(reason, "bin %u: a backward link is broken", i);
            auto *chunk = reinterpret_cast<const Chunk *>(reinterpret_cast<const char *>(l) - kChunkHeader);
            if (!std::binary_search(free_chunks.begin(), free_chunks.end(), chunk))
                return fail(reason, "bin %u lists %p, which is not a free chunk", i, vp(chunk));
            if (bin_index(size_of(chunk)) != i)
                return fail(reason, "free chunk %p of %" PRIu64 " bytes sits in bin %u", vp(chunk), size_of(chunk), i);
            if (++listed > free_chunks.size())
                return fail(reason, "the bins list more chunks than are free");
        }
        if (head->bk != prev)
            return fail(reason, "bin %u: its last link is broken", i);
    }
    if (listed != free_chunks.size())
        return fail(reason, "%zu free chunks, but the bins list %zu", free_chunks.size(), listed);

    if (total != st->system_bytes + st->foreign_bytes)
        return fail(reason, "the chunks cover %" PRIu64 " bytes, the statistics say %" PRIu64, total,
                    st->system_bytes + st->foreign_bytes);
    if (in_use != st->in_use_bytes)
        return fail(reason, "allocated chunks hold %" PRIu64 " bytes, the statistics say %" PRIu64, in_use,
                    st->in_use_bytes);
    if (st->max_system_bytes < st->system_bytes)
        return fail(reason, "max system bytes is below system bytes");
    if (st->system_bytes + st->foreign_bytes > st->used)
        return fail(reason, "the heap holds more than the break handed out");
    reason.clear();
    return true;
}

} // namespace lx::heap
