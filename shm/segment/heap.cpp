// The shared heap's growth, resizing and set-up (allocation and release are inline in
// heap_chunks.h). Free chunks are merged with their free
// neighbours at once, so no two free chunks ever touch; each sits in one of 128 bins chosen by its
// size (exact bins below 1 KiB, eight bins per doubling above), found through a bitmap.
#include "heap.h"

#include <lumarix/shm.h>

#include <cstring>

namespace lx::heap {
namespace {

constexpr uint64_t kGrowStep = 4096;              // growth is rounded to pages when possible
constexpr uint64_t kMaxPiece = uint64_t{1} << 30; // SHMsbrk is asked for at most this at once
constexpr uint64_t kTrimThreshold = 128 * 1024;
constexpr uint64_t kMmapThreshold = 128 * 1024;

inline void note_growth(State *st, uint64_t n)
{
    st->system_bytes += n;
    if (st->system_bytes > st->max_system_bytes)
        st->max_system_bytes = st->system_bytes;
}

// Puts a piece that SHMsbrk just handed out at the end of the heap. When someone else moved the
// break since our last growth, the old top is fenced off and the foreign bytes are covered by an
// allocated gap chunk, so that a walk over the chunks still reaches the new top.
void append(State *st, char *p, uint64_t n)
{
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
        st->system_bytes -= pad; // an unaligned first break: those bytes cannot be used
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
        fence->head = 0; // the chunk before the fence is free
        bin_insert(st, st->top, rest);
    } else {
        fence = st->top;
        fence->head = kPrevInUse;
    }
    fence->head |= static_cast<uint64_t>(start - reinterpret_cast<char *>(fence)) | kGap;
    st->top = reinterpret_cast<Chunk *>(start);
    st->top->head = usable | kPrevInUse;
}

} // namespace

bool grow(State *st, uint64_t nb)
{
    for (;;) {
        uint64_t have = st->top ? size_of(st->top) : 0;
        if (st->top && have >= nb + kMinChunk)
            return true;
        bool contiguous = st->top == nullptr || reinterpret_cast<char *>(next_of(st->top)) == st->curSHMbrk;
        uint64_t need = contiguous && st->top ? nb + kMinChunk - have : nb + kMinChunk + kAlign;
        uint64_t exact = need < kMaxPiece ? need : kMaxPiece;
        uint64_t rounded = seg::page_round(exact + st->top_pad, kGrowStep);
        if (rounded > kMaxPiece)
            rounded = kMaxPiece;
        uint64_t piece = rounded;
        void *p = SHMsbrk(static_cast<int64_t>(piece));
        if (p == reinterpret_cast<void *>(-1) && rounded != exact) {
            piece = exact;
            p = SHMsbrk(static_cast<int64_t>(piece));
        }
        if (p == reinterpret_cast<void *>(-1))
            return false;
        append(st, static_cast<char *>(p), piece);
    }
}

namespace {

// Cuts chunk c (allocated, size >= nb) down to nb bytes; the tail, if it can be a chunk, is freed.
void cut_tail(State *st, Chunk *c, uint64_t nb)
{
    uint64_t size = size_of(c);
    uint64_t rest = size - nb;
    if (rest < kMinChunk)
        return;
    c->head = nb | (c->head & kPrevInUse);
    Chunk *tail = at(c, nb);
    tail->head = rest | kPrevInUse;
    st->in_use_bytes -= rest;
    give_back(st, tail);
}

} // namespace

void init(State *st, char *first_break, uint64_t allowance)
{
    std::memset(st, 0, sizeof(State));
    st->magic = kStateMagic;
    st->top = nullptr;
    st->base = reinterpret_cast<char *>(~uintptr_t{0});
    for (auto &bin : st->bins)
        bin.fd = bin.bk = &bin;
    st->trim_threshold = kTrimThreshold;
    st->top_pad = 0;
    st->mmap_threshold = kMmapThreshold;
    st->curSHMbrk = first_break;
    st->used = 0;
    st->limit = allowance;
}

void *allocate_zeroed(State *st, uint64_t bytes)
{
    void *p = allocate(st, bytes);
    if (p)
        std::memset(p, 0, size_of(chunk_of_user(p)) - sizeof(uint64_t));
    return p;
}

void *resize(State *st, void *block, uint64_t bytes)
{
    if (block == nullptr)
        return allocate(st, bytes);
    Chunk *c = valid_block(st, block);
    if (c == nullptr || bytes > kMaxRequest)
        return nullptr;
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
    if (moved == nullptr)
        return nullptr;
    std::memcpy(moved, block, old - sizeof(uint64_t));
    release(st, block);
    return moved;
}

uint64_t usable_size(const State *st, const void *block)
{
    Chunk *c = valid_block(st, block);
    return c ? size_of(c) - sizeof(uint64_t) : 0;
}

Stats stats(const State *st) { return {st->max_system_bytes, st->system_bytes, st->in_use_bytes}; }

} // namespace lx::heap
