/* The floor of bench_send.sh: the least a sender can do for one message. Plain C, linked statically, no name
 * look-up, no code-page work: TCP to IP:PORT, a session request to *SMBSERVER<20>, then D5, D7 blocks of 128 bytes
 * and D6, each awaiting its reply, exactly the exchange of pilvanor-send to an address. Reads the text from standard
 * input like pilvanor-send; exit status 0 when every reply said success.
 * Usage: floor_send IP PORT FROM TO < text */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static int fd;

static int writeAll(const unsigned char* p, size_t n)
{
    while (n > 0) {
        const ssize_t w = write(fd, p, n);
        if (w <= 0) {
            return -1;
        }
        p += w;
        n -= (size_t)w;
    }
    return 0;
}

static int readAll(unsigned char* p, size_t n)
{
    while (n > 0) {
        const ssize_t r = read(fd, p, n);
        if (r <= 0) {
            return -1;
        }
        p += r;
        n -= (size_t)r;
    }
    return 0;
}

/* One session frame; the SMB's status in *status, its first word in *word. */
static int readFrame(unsigned char type, unsigned* status, unsigned* word)
{
    unsigned char head[4], body[256];
    if (readAll(head, 4) != 0 || head[0] != type) {
        return -1;
    }
    const size_t length = (size_t)head[2] << 8 | head[3];
    if (length > sizeof body || readAll(body, length) != 0) {
        return -1;
    }
    if (type == 0x00) {
        if (length < 35 || memcmp(body, "\xFFSMB", 4) != 0) {
            return -1;
        }
        *status = body[5] | body[7] << 8 | body[8] << 16;
        *word = body[32] >= 1 && length >= 35 ? (unsigned)(body[33] | body[34] << 8) : 0;
    }
    return 0;
}

static void encodeName(unsigned char* out, const char* name, unsigned char suffix)
{
    unsigned char raw[16];
    memset(raw, ' ', 15);
    memcpy(raw, name, strlen(name) < 15 ? strlen(name) : 15);
    raw[15] = suffix;
    out[0] = 0x20;
    for (int i = 0; i < 16; ++i) {
        out[1 + 2 * i] = (unsigned char)('A' + (raw[i] >> 4));
        out[2 + 2 * i] = (unsigned char)('A' + (raw[i] & 0x0F));
    }
    out[33] = 0;
}

/* An SMB of command `cmd` with `words` words and `bytes` bytes, in a session message. */
static int
exchange(unsigned char cmd, const unsigned* words, int nwords, const void* bytes, size_t nbytes, unsigned* word)
{
    unsigned char p[4 + 32 + 1 + 2 + 2 + 600];
    size_t n = 4;
    memset(p, 0, 4 + 32);
    memcpy(p + 4, "\xFFSMB", 4);
    p[8] = cmd;
    n += 32;
    p[n++] = (unsigned char)nwords;
    for (int i = 0; i < nwords; ++i) {
        p[n++] = (unsigned char)words[i];
        p[n++] = (unsigned char)(words[i] >> 8);
    }
    p[n++] = (unsigned char)nbytes;
    p[n++] = (unsigned char)(nbytes >> 8);
    memcpy(p + n, bytes, nbytes);
    n += nbytes;
    p[2] = (unsigned char)((n - 4) >> 8);
    p[3] = (unsigned char)(n - 4);
    unsigned status = 1;
    if (writeAll(p, n) != 0 || readFrame(0x00, &status, word) != 0) {
        return -1;
    }
    return status == 0 ? 0 : -1;
}

int main(int argc, char** argv)
{
    if (argc != 5) {
        fprintf(stderr, "usage: floor_send IP PORT FROM TO < text\n");
        return 2;
    }
    static char text[4096];
    const size_t length = fread(text, 1, sizeof text, stdin);

    struct sockaddr_in to = {0};
    to.sin_family = AF_INET;
    to.sin_port = htons((unsigned short)atoi(argv[2]));
    if (inet_pton(AF_INET, argv[1], &to.sin_addr) != 1) {
        return 2;
    }
    fd = socket(AF_INET, SOCK_STREAM, 0);
    const int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (connect(fd, (struct sockaddr*)&to, sizeof to) != 0) {
        return 1;
    }

    unsigned char request[4 + 68] = {0x81, 0, 0, 68};
    encodeName(request + 4, "*SMBSERVER", 0x20);
    encodeName(request + 4 + 34, argv[3], 0x00);
    unsigned ignored = 0, group = 0;
    if (writeAll(request, sizeof request) != 0 || readFrame(0x82, &ignored, &ignored) != 0) {
        return 1;
    }

    unsigned char names[64];
    size_t n = 0;
    names[n++] = 0x04;
    n += (size_t)sprintf((char*)names + n, "%.15s", argv[3]) + 1;
    names[n++] = 0x04;
    n += (size_t)sprintf((char*)names + n, "%.15s", argv[4]) + 1;
    if (exchange(0xD5, NULL, 0, names, n, &group) != 0) {
        return 1;
    }
    for (size_t at = 0; at < length; at += 128) {
        const size_t chunk = length - at < 128 ? length - at : 128;
        unsigned char block[3 + 128] = {0x01, (unsigned char)chunk, 0};
        memcpy(block + 3, text + at, chunk);
        if (exchange(0xD7, &group, 1, block, 3 + chunk, &ignored) != 0) {
            return 1;
        }
    }
    if (exchange(0xD6, &group, 1, NULL, 0, &ignored) != 0) {
        return 1;
    }
    close(fd);
    return 0;
}
