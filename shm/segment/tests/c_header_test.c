/* The public header from strict C99 and C11: it compiles, and its calls link and work. */
#include <lumarix/shm.h>

#include <stdio.h>

int main(void)
{
    void *start = SG_create("/tmp/lx-c-header.map", 8 << 20);
    char *text = start ? SG_realloc(NULL, NULL, 6) : NULL; /* a null block is allocated */
    SGHeapStats stats;
    int ok = text != NULL && GBLdl_p == (char *)start + 1600 && SG_heap_stats(&stats) == 1 && stats.in_use_bytes > 0;
    SG_destroy(start);
    puts(ok ? "C header test passed" : "C header test failed");
    return ok ? 0 : 1;
}
