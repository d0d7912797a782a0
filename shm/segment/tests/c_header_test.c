/* The public header used from C (built as C99 and C11, -pedantic): a file-backed segment, a few
 * allocations, the checker. */
#define _DEFAULT_SOURCE 1 /* mkstemp, unsetenv */
#include <lumarix/shm.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int failures = 0;
#define EXPECT(cond)                                                                                                   \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            fprintf(stderr, "%s:%d: expected %s\n", __FILE__, __LINE__, #cond);                                        \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

int main(void)
{
    char path[] = "/tmp/lx-c-header-XXXXXX";
    int fd = mkstemp(path);
    EXPECT(fd >= 0);
    close(fd);
    unsetenv("LX_SHMSTADDR");

    void *start = SG_create(path, 8 << 20);
    EXPECT(start != NULL);
    if (start == NULL)
        return 1;
    EXPECT(GBLdl_p == (char *)start + 1600);
    EXPECT(SG_key(NULL, 'N') == (key_t)(1000u * getuid() + 'N'));

    char *text = SG_malloc(NULL, 6);
    EXPECT(text != NULL);
    strcpy(text, "hello");
    int *numbers = SG_calloc(NULL, 100, sizeof(int));
    EXPECT(numbers != NULL && numbers[99] == 0);
    text = SG_realloc(NULL, text, 4000);
    EXPECT(text != NULL && strcmp(text, "hello") == 0);
    numbers = SG_reCalloc(NULL, numbers, 200, sizeof(int));
    EXPECT(numbers != NULL && SG_malloc_usable_size(numbers) >= 200 * sizeof(int));

    SGHeapStats stats;
    EXPECT(SG_heap_stats(&stats) == 1 && stats.in_use_bytes >= 4800);
    char reason[200];
    EXPECT(SG_heap_check(reason, sizeof reason) == 1);
    SG_free(NULL, text);
    SG_free(NULL, numbers);
    EXPECT(SG_heap_stats(&stats) == 1 && stats.in_use_bytes == 0);

    SG_detach(start);
    SG_destroy(start);
    EXPECT(access(path, F_OK) != 0);
    if (failures == 0)
        printf("C header test passed\n");
    return failures == 0 ? 0 : 1;
}
