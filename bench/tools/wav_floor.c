/*
** wav_floor: the floor for drawing a whole 16-bit WAV file. Maps the file
** and computes the minimum and maximum of each channel in 1600 columns
** over all of it, once: the speed of reading memory. Prints the time from
** opening the file to the last column, in milliseconds.
**
**   wav_floor FILE.wav        (16-bit PCM WAV or RF64)
*/
#define _DEFAULT_SOURCE

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#define COLUMNS 1600
#define MAX_CHANNELS 32
#define LANES 32 /* samples per step of the vectorised loop */

static uint32_t le32(const uint8_t *p)
{
    return (uint32_t)p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 | (uint32_t)p[3] << 24;
}

static double now_ms(void)
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec * 1e3 + (double)t.tv_nsec / 1e6;
}

/* Finds the fmt and data chunks; RF64 gives the data length in ds64. */
static int find_data(const uint8_t *base, size_t size, size_t *offset, uint64_t *length, int *channels)
{
    size_t pos = 12;
    uint64_t ds64 = 0;
    *channels = 0;
    if (size < 12 || memcmp(base + 8, "WAVE", 4) != 0) return 0;
    while (pos + 8 <= size) {
        const uint8_t *chunk = base + pos;
        const uint64_t n = le32(chunk + 4);
        if (memcmp(chunk, "ds64", 4) == 0 && pos + 24 <= size)
            ds64 = (uint64_t)le32(chunk + 16) | (uint64_t)le32(chunk + 20) << 32;
        if (memcmp(chunk, "fmt ", 4) == 0 && pos + 24 <= size) {
            *channels = chunk[10] | chunk[11] << 8;
            if ((chunk[22] | chunk[23] << 8) != 16) return 0;
        }
        if (memcmp(chunk, "data", 4) == 0) {
            *offset = pos + 8;
            *length = n == 0xffffffffu ? ds64 : n;
            if (*offset + *length > size) *length = size - *offset;
            return *channels > 0 && *channels <= MAX_CHANNELS;
        }
        pos += 8 + n + (n & 1);
    }
    return 0;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: wav_floor FILE.wav\n");
        return 2;
    }
    const double start = now_ms();
    const int fd = open(argv[1], O_RDONLY);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) {
        perror(argv[1]);
        return 1;
    }
    const size_t size = (size_t)info.st_size;
    const uint8_t *base = mmap(NULL, size, PROT_READ, MAP_SHARED, fd, 0);
    if (base == MAP_FAILED) {
        perror("mmap");
        return 1;
    }
    madvise((void *)base, size, MADV_SEQUENTIAL);
    size_t offset = 0;
    uint64_t length = 0;
    int channels = 0;
    if (!find_data(base, size, &offset, &length, &channels)) {
        fprintf(stderr, "%s: not a 16-bit WAV\n", argv[1]);
        return 1;
    }
    const int16_t *samples = (const int16_t *)(base + offset);
    const uint64_t frames = length / (2u * (unsigned)channels);
    static int16_t lo[COLUMNS][MAX_CHANNELS], hi[COLUMNS][MAX_CHANNELS];
    for (int col = 0; col < COLUMNS; ++col) {
        const uint64_t from = frames * (uint64_t)col / COLUMNS;
        const uint64_t to = frames * (uint64_t)(col + 1) / COLUMNS;
        int16_t l[MAX_CHANNELS], h[MAX_CHANNELS];
        for (int c = 0; c < channels; ++c) {
            l[c] = INT16_MAX;
            h[c] = INT16_MIN;
        }
        uint64_t f = from;
        if (LANES % channels == 0) {
            /* LANES samples at a time, lane i holding channel i % channels:
            ** the compiler turns this into vector minimum and maximum. */
            int16_t vl[LANES], vh[LANES];
            for (int i = 0; i < LANES; ++i) {
                vl[i] = INT16_MAX;
                vh[i] = INT16_MIN;
            }
            const uint64_t step = LANES / (uint64_t)channels;
            for (; f + step <= to; f += step) {
                const int16_t *v = samples + f * (uint64_t)channels;
                for (int i = 0; i < LANES; ++i) {
                    vl[i] = v[i] < vl[i] ? v[i] : vl[i];
                    vh[i] = v[i] > vh[i] ? v[i] : vh[i];
                }
            }
            for (int i = 0; i < LANES; ++i) {
                const int c = i % channels;
                l[c] = vl[i] < l[c] ? vl[i] : l[c];
                h[c] = vh[i] > h[c] ? vh[i] : h[c];
            }
        }
        for (; f < to; ++f) {
            const int16_t *frame = samples + f * (uint64_t)channels;
            for (int c = 0; c < channels; ++c) {
                const int16_t v = frame[c];
                l[c] = v < l[c] ? v : l[c];
                h[c] = v > h[c] ? v : h[c];
            }
        }
        memcpy(lo[col], l, sizeof(l));
        memcpy(hi[col], h, sizeof(h));
    }
    const double elapsed = now_ms() - start;
    long check = 0;
    for (int col = 0; col < COLUMNS; ++col) check += lo[col][0] + hi[col][channels - 1];
    printf("wav_floor: %llu frames, %d channels, %d columns: %.1f ms (check %ld)\n", (unsigned long long)frames,
           channels, COLUMNS, elapsed, check);
    munmap((void *)base, size);
    close(fd);
    return 0;
}
