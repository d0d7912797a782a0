// The shared heap's allocation, release and resizing. Free chunks are merged with their free
// neighbours at once, so no two free chunks ever touch; each sits in one of 128 bins chosen by its
// size (exact bins below 1 KiB, eight bins per doubling above), found through a bitmap.
#include "heap.h"

#include <lumarix/shm.h>

#include <cstring>

namespace lx::heap {
namespace {

constexpr uint64_t kGrowStep = 4096;              // growth is rounded to pages when possible
constexpr uint64_t kMaxPiece = uint64_t{1} << 30;  // SHMsbrk is asked for at most this at once
constexpr uint64_t kTrimThreshold = 128 * 1024;
constexpr uint64_t kMmapThreshold = 128 * 1024;

inline uint64_t size_of(const Chunk *c) { return c->head & ~kFlagMask; }
inline Chunk *at(void *p, uint64_t offset) { return reinterpret_cast<Chunk *>(static_cast<char *>(p) + offset); }
inline Chunk *next_of(Chunk *c) { return at(c, size_of(c)); }
inline Links *links_of(Chunk *c) { return reinterpret_cast<Links *>(reinterpret_cast<char *>(c) + kChunkHeader); }
inline Chunk *chunk_of_links(Links *l) { return reinterpret_cast<Chunk *>(reinterpret_cast<char *>(l) - kChunkHeader); }
inline Chunk *chunk_of_user(const void *p) {
    return reinterpret_cast<Chunk *>(const_cast<char *>(static_cast<const char *>(p)) - kChunkHeader);
}
inline void *user_of(Chunk *c) { return reinterpret_cast<char *>(c) + kChunkHeader; }

// The chunk size that serves a request: room for the size word, rounded to the alignment.
inline uint64_t chunk_size_for(uint64_t bytes) {
    uint64_t nb = (bytes + sizeof(uint64_t) + kAlign - 1) & ~(kAlign - 1);
    return nb < kMinChunk ? kMinChunk : nb;
}

inline void bin_insert(State *st, Chunk *c, uint64_t size) {
    unsigned idx = bin_index(size);
    Links *bin = &st->bins[idx];
    Links *l = links_of(c);
    l->fd = bin->fd;
    l->bk = bin;
    bin->fd->bk = l;
    bin->fd = l;
    st->binmap[idx >> 6] |= uint64_t{1} << (idx & 63);
}

inline void bin_unlink(State *st, Chunk *c) {
    Links *l = links_of(c);
    l->fd->bk = l->bk;
    l->bk->fd = l->fd;
    if (l->fd == l->bk) {  // the bin may now be empty: only its head is left
        Links *head = l->fd;
        if (head->fd == head) {
            auto idx = static_cast<unsigned>(head - st->bins);
            st->binmap[idx >> 6] &= ~(uint64_t{1} << (idx & 63));
        }
    }
}

// First non-empty bin at or above idx, or -1.
inline int next_bin(const State *st, unsigned idx) {
    if (idx < 64) {
        uint64_t m = st->binmap[0] & (~uint64_t{0} << idx);
        if (m) return __builtin_ctzll(m);
        idx = 64;
    }
    if (idx < kBinCount) {
        uint64_t m = st->binmap[1] & (~uint64_t{0} << (idx - 64));
        if (m) return 64 + __builtin_ctzll(m);
    }
    return -1;
}

inline void note_growth(State *st, uint64_t n) {
    st->system_bytes += n;
    if (st->system_bytes > st->max_system_bytes) st->max_system_bytes = st->system_bytes;
}

// Puts a piece that SHMsbrk just handed out at the end of the heap. When someone else moved the
// break since our last growth, the old top is fenced off and the foreign bytes are covered by an
// allocated gap chunk, so that a walk over the chunks still reaches the new top.
void append(State *st, char *p, uint64_t n) {
    note_growth(st, n);
    char *start = reinterpret_cast<char *>((reinterpret_cast<uintptr_t>(p) + kAlign - 1) & ~(kAlign - 1));
    uint64_t pad = static_cast<uint64_t>(start - p);
    uint64_t usable = n - pad;
    if (usable % kAlign != 0) {
        // The piece starts off the 16-byte grid (someone else took 8 bytes from the break): take
        // 8 more so that it ends on the grid, or leave its last 8 bytes unused.
        if (SHMsbrk(8) == p + n) {
            note_growth(st, 8);
            usable += 8;
        } else {
            usable -= 8;
            st->system_bytes -= 8;
        }
    }
    if (st->top == nullptr) {
        st->system_bytes -= pad;  // an unaligned first break: those bytes cannot be used
        st->base = start;
        st->top = reinterpret_cast<Chunk *>(start);
        st->top->head = usable | kPrevInUse;
        return;
    }
    char *old_end = reinterpret_cast<char *>(next_of(st->top));
    if (p == old_end) {
        st->top->head += n;
        return;
    }
    st->foreign_bytes += static_cast<uint64_t>(p - old_end);
    uint64_t top_size = size_of(st->top);
    Chunk *fence;
    if (top_size >= kMinChunk + kChunkHeader) {
        uint64_t rest = top_size - kChunkHeader;
        st->top->head = rest | kPrevInUse;
        fence = at(st->top, rest);
        fence->prev_size = rest;
        fence->head = 0;  // the chunk before the fence is free
        bin_insert(st, st->top, rest);
    } else {
        fence = st->top;
        fence->head = kPrevInUse;
    }
    fence->head |= static_cast<uint64_t>(start - reinterpret_cast<char *>(fence)) | kGap;
    st->top = reinterpret_cast<Chunk *>(start);
    st->top->head = usable | kPrevInUse;
}

// Makes the top chunk at least nb + kMinChunk bytes long, so that it can be split and still stay
// a chunk. False when the allowance is used up (whatever was obtained stays in the top).
bool grow(State *st, uint64_t nb) {
    for (;;) {
        uint64_t have = st->top ? size_of(st->top) : 0;
        if (st->top && have >= nb + kMinChunk) return true;
        bool contiguous = st->top == nullptr || reinterpret_cast<char *>(next_of(st->top)) == st->curSHMbrk;
        uint64_t need = contiguous && st->top ? nb + kMinChunk - have : nb + kMinChunk + kAlign;
        uint64_t exact = need < kMaxPiece ? need : kMaxPiece;
        uint64_t rounded = seg::page_round(exact + st->top_pad, kGrowStep);
        if (rounded > kMaxPiece) rounded = kMaxPiece;
        uint64_t piece = rounded;
        void *p = SHMsbrk(static_cast<int64_t>(piece));
        if (p == reinterpret_cast<void *>(-1) && rounded != exact) {
            piece = exact;
            p = SHMsbrk(static_cast<int64_t>(piece));
        }
        if (p == reinterpret_cast<void *>(-1)) return false;
        append(st, static_cast<char *>(p), piece);
    }
}

// Gives chunk c (already counted out of in_use_bytes) back: merges it with free neighbours or the
// top and files the result in its bin.
void give_back(State *st, Chunk *c) {
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

// Cuts chunk c (allocated, size >= nb) down to nb bytes; the tail, if it can be a chunk, is freed.
void cut_tail(State *st, Chunk *c, uint64_t nb) {
    uint64_t size = size_of(c);
    uint64_t rest = size - nb;
    if (rest < kMinChunk) return;
    c->head = nb | (c->head & kPrevInUse);
    Chunk *tail = at(c, nb);
    tail->head = rest | kPrevInUse;
    st->in_use_bytes -= rest;
    give_back(st, tail);
}

// Takes free chunk c out of its bin and hands out its first nb bytes.
void *use_free_chunk(State *st, Chunk *c, uint64_t nb) {
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
Chunk *valid_block(const State *st, const void *block) {
    if (st->top == nullptr || (reinterpret_cast<uintptr_t>(block) & (kAlign - 1)) != 0) return nullptr;
    Chunk *c = chunk_of_user(block);
    auto *p = reinterpret_cast<char *>(c);
    auto *top = reinterpret_cast<char *>(st->top);
    if (p < st->base || p >= top) return nullptr;
    uint64_t size = size_of(c);
    if (size < kMinChunk || (c->head & kGap) || size > static_cast<uint64_t>(top - p)) return nullptr;
    if (!(next_of(c)->head & kPrevInUse)) return nullptr;
    return c;
}

}  // namespace

void init(State *st, char *first_break, uint64_t allowance) {
    std::memset(st, 0, sizeof(State));
    st->magic = kStateMagic;
    st->top = nullptr;
    st->base = reinterpret_cast<char *>(~uintptr_t{0});
    for (auto &bin : st->bins) bin.fd = bin.bk = &bin;
    st->trim_threshold = kTrimThreshold;
    st->top_pad = 0;
    st->mmap_threshold = kMmapThreshold;
    st->curSHMbrk = first_break;
    st->used = 0;
    st->limit = allowance;
}

void *allocate(State *st, uint64_t bytes) {
    if (bytes > kMaxRequest) return nullptr;
    uint64_t nb = chunk_size_for(bytes);
    unsigned idx = bin_index(nb);
    Links *bin = &st->bins[idx];
    if (bin->fd != bin) {
        if (nb < kSmallLimit) return use_free_chunk(st, chunk_of_links(bin->fd), nb);
        // Larger bins hold a range of sizes: take the first chunk if it fits (the open-ended last
        // bin is searched whole).
        for (Links *l = bin->fd; l != bin; l = l->fd) {
            if (size_of(chunk_of_links(l)) >= nb) return use_free_chunk(st, chunk_of_links(l), nb);
            if (idx != kBinCount - 1) break;
        }
    }
    if (idx + 1 < kBinCount) {
        int j = next_bin(st, idx + 1);
        if (j >= 0) return use_free_chunk(st, chunk_of_links(st->bins[j].fd), nb);
    }
    if (st->top == nullptr || size_of(st->top) < nb + kMinChunk) {
        if (!grow(st, nb)) return nullptr;
    }
    Chunk *c = st->top;
    uint64_t rest = size_of(c) - nb;
    c->head = nb | kPrevInUse;
    st->top = at(c, nb);
    st->top->head = rest | kPrevInUse;
    st->in_use_bytes += nb;
    return user_of(c);
}

void *allocate_zeroed(State *st, uint64_t bytes) {
    void *p = allocate(st, bytes);
    if (p) std::memset(p, 0, size_of(chunk_of_user(p)) - sizeof(uint64_t));
    return p;
}

bool release(State *st, void *block) {
    Chunk *c = valid_block(st, block);
    if (c == nullptr) return false;
    st->in_use_bytes -= size_of(c);
    give_back(st, c);
    return true;
}

void *resize(State *st, void *block, uint64_t bytes) {
    if (block == nullptr) return allocate(st, bytes);
    Chunk *c = valid_block(st, block);
    if (c == nullptr || bytes > kMaxRequest) return nullptr;
    uint64_t nb = chunk_size_for(bytes);
    uint64_t old = size_of(c);
    if (old >= nb) {
        cut_tail(st, c, nb);
        return block;
    }
    Chunk *next = next_of(c);
    if (next == st->top && (size_of(next) >= nb - old + kMinChunk || grow(st, nb - old)) && next_of(c) == st->top) {
        uint64_t rest = size_of(st->top) + old - nb;
        c->head = nb | (c->head & kPrevInUse);
        st->top = at(c, nb);
        st->top->head = rest | kPrevInUse;
        st->in_use_bytes += nb - old;
        return block;
    }
    next = next_of(c);
    if (next != st->top && !(next_of(next)->head & kPrevInUse) && old + size_of(next) >= nb) {
        uint64_t joined = old + size_of(next);
        bin_unlink(st, next);
        c->head = joined | (c->head & kPrevInUse);
        next_of(c)->head |= kPrevInUse;
        st->in_use_bytes += joined - old;
        cut_tail(st, c, nb);
        return block;
    }
    void *moved = allocate(st, bytes);
    if (moved == nullptr) return nullptr;
    std::memcpy(moved, block, old - sizeof(uint64_t));
    release(st, block);
    return moved;
}

uint64_t usable_size(const State *st, const void *block) {
    Chunk *c = valid_block(st, block);
    return c ? size_of(c) - sizeof(uint64_t) : 0;
}

Stats stats(const State *st) { return {st->max_system_bytes, st->system_bytes, st->in_use_bytes}; }

}  // namespace lx::heap
