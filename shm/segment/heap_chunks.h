// The heap's chunk handling and its fast paths, inline so that the allocation calls need no
// further call: chunk arithmetic, the bins and their bitmap, allocation and release.
#pragma once

#include <cstdint>

#include "heap_state.h"

#pragma GCC visibility push(hidden)

namespace lx::heap {

constexpr unsigned kBestFitScan = 32; // chunks looked at in a bin of mixed sizes

inline uint64_t size_of(const Chunk *c) { return c->head & ~kFlagMask; }
inline Chunk *at(void *p, uint64_t offset) { return reinterpret_cast<Chunk *>(static_cast<char *>(p) + offset); }
inline Chunk *next_of(Chunk *c) { return at(c, size_of(c)); }
inline Links *links_of(Chunk *c) { return reinterpret_cast<Links *>(reinterpret_cast<char *>(c) + kChunkHeader); }
inline Chunk *chunk_of_links(Links *l) { return reinterpret_cast<Chunk *>(reinterpret_cast<char *>(l) - kChunkHeader); }
inline Chunk *chunk_of_user(const void *p)
{
    return reinterpret_cast<Chunk *>(const_cast<char *>(static_cast<const char *>(p)) - kChunkHeader);
}
inline void *user_of(Chunk *c) { return reinterpret_cast<char *>(c) + kChunkHeader; }

// The chunk size that serves a request: room for the size word, rounded to the alignment.
inline uint64_t chunk_size_for(uint64_t bytes)
{
    uint64_t nb = (bytes + sizeof(uint64_t) + kAlign - 1) & ~(kAlign - 1);
    return nb < kMinChunk ? kMinChunk : nb;
}

inline void bin_insert(State *st, Chunk *c, uint64_t size)
{
    unsigned idx = bin_index(size);
    Links *bin = &st->bins[idx];
    Links *l = links_of(c);
    l->fd = bin->fd;
    l->bk = bin;
    bin->fd->bk = l;
    bin->fd = l;
    st->binmap[idx >> 6] |= uint64_t{1} << (idx & 63);
}

inline void bin_unlink(State *st, Chunk *c)
{
    Links *l = links_of(c);
    l->fd->bk = l->bk;
    l->bk->fd = l->fd;
    if (l->fd == l->bk) { // the bin may now be empty: only its head is left
        Links *head = l->fd;
        if (head->fd == head) {
            auto idx = static_cast<unsigned>(head - st->bins);
            st->binmap[idx >> 6] &= ~(uint64_t{1} << (idx & 63));
        }
    }
}

// First non-empty bin at or above idx, or -1.
inline int next_bin(const State *st, unsigned idx)
{
    if (idx < 64) {
        uint64_t m = st->binmap[0] & (~uint64_t{0} << idx);
        if (m)
            return __builtin_ctzll(m);
        idx = 64;
    }
    if (idx < kBinCount) {
        uint64_t m = st->binmap[1] & (~uint64_t{0} << (idx - 64));
        if (m)
            return 64 + __builtin_ctzll(m);
    }
    return -1;
}

// Makes the top chunk at least nb + kMinChunk bytes long, so that it can be split and still stay
// a chunk. False when the allowance is used up (whatever was obtained stays in the top).
bool grow(State *st, uint64_t nb);

// Gives chunk c (already counted out of in_use_bytes) back: merges it with free neighbours or the
// top and files the result in its bin.
inline void give_back(State *st, Chunk *c)
{
    uint64_t size = size_of(c);
    if (!(c->head & kPrevInUse)) {
        Chunk *prev = at(c, 0 - c->prev_size);
        bin_unlink(st, prev);
        size += c->prev_size;
        c = prev;
    }
    Chunk *next = at(c, size);
    if (next == st->top) {
        size += size_of(next);
        c->head = size | kPrevInUse;
        st->top = c;
        // The break never moves back (SHMsbrk refuses to shrink), so a top above the trim
        // threshold simply stays available for later requests.
        return;
    }
    Chunk *after = next_of(next);
    if (!(after->head & kPrevInUse)) {
        bin_unlink(st, next);
        size += size_of(next);
        next = after;
    }
    c->head = size | kPrevInUse;
    next->prev_size = size;
    next->head &= ~kPrevInUse;
    bin_insert(st, c, size);
}

// Takes free chunk c out of its bin and hands out its first nb bytes.
inline void *use_free_chunk(State *st, Chunk *c, uint64_t nb)
{
    bin_unlink(st, c);
    uint64_t size = size_of(c);
    uint64_t rest = size - nb;
    if (rest >= kMinChunk) {
        c->head = nb | kPrevInUse;
        Chunk *r = at(c, nb);
        r->head = rest | kPrevInUse;
        at(r, rest)->prev_size = rest;
        bin_insert(st, r, rest);
        st->in_use_bytes += nb;
    } else {
        next_of(c)->head |= kPrevInUse;
        st->in_use_bytes += size;
    }
    return user_of(c);
}

// Whether block looks like a chunk this heap handed out and that is still allocated.
inline Chunk *valid_block(const State *st, const void *block)
{
    // Before the first growth base is all bits set, so nothing passes.
    if ((reinterpret_cast<uintptr_t>(block) & (kAlign - 1)) != 0)
        return nullptr;
    Chunk *c = chunk_of_user(block);
    auto *p = reinterpret_cast<char *>(c);
    auto *top = reinterpret_cast<char *>(st->top);
    if (p < st->base || p >= top)
        return nullptr;
    uint64_t size = size_of(c);
    if (size < kMinChunk || (c->head & kGap) || size > static_cast<uint64_t>(top - p))
        return nullptr;
    if (!(next_of(c)->head & kPrevInUse))
        return nullptr;
    return c;
}

// A block of at least bytes bytes, 16-byte aligned; null when the allowance is used up.
inline void *allocate(State *st, uint64_t bytes)
{
    if (bytes > kMaxRequest)
        return nullptr;
    uint64_t nb = chunk_size_for(bytes);
    unsigned idx = bin_index(nb);
    // The bitmap sits beside the top pointer, so an empty heap never touches the bins.
    int j = next_bin(st, idx);
    if (j == static_cast<int>(idx)) {
        Links *bin = &st->bins[idx];
        if (nb < kSmallLimit)
            return use_free_chunk(st, chunk_of_links(bin->fd), nb);
        // Larger bins hold a range of sizes: take the best fit among the first few chunks (all of
        // the open-ended last bin). Best fit keeps the heap from fragmenting under churn.
        Chunk *best = nullptr;
        uint64_t best_size = ~uint64_t{0};
        unsigned budget = idx == kBinCount - 1 ? ~0u : kBestFitScan;
        for (Links *l = bin->fd; l != bin && budget > 0; l = l->fd, --budget) {
            uint64_t size = size_of(chunk_of_links(l));
            if (size >= nb && size < best_size) {
                best = chunk_of_links(l);
                best_size = size;
                if (size == nb)
                    break;
            }
        }
        if (best)
            return use_free_chunk(st, best, nb);
        j = idx + 1 < kBinCount ? next_bin(st, idx + 1) : -1;
    }
    // Every chunk in a bin above the request's own is large enough; the bins' first is taken.
    if (j >= 0)
        return use_free_chunk(st, chunk_of_links(st->bins[j].fd), nb);
    if (st->top == nullptr || size_of(st->top) < nb + kMinChunk) {
        if (!grow(st, nb))
            return nullptr;
    }
    Chunk *c = st->top;
    uint64_t rest = size_of(c) - nb;
    c->head = nb | kPrevInUse;
    st->top = at(c, nb);
    st->top->head = rest | kPrevInUse;
    st->in_use_bytes += nb;
    return user_of(c);
}

// False when block was not handed out by this heap (or is already free); nothing changes then.
inline bool release(State *st, void *block)
{
    Chunk *c = valid_block(st, block);
    if (c == nullptr)
        return false;
    st->in_use_bytes -= size_of(c);
    give_back(st, c);
    return true;
}

} // namespace lx::heap

#pragma GCC visibility pop
