/* Clients of a server that sends a document to whoever connects. publish_bench.py builds it.

     stream_clients many PORT CONNECTIONS AT_ONCE BYTES [PATH]
         Makes so many whole connections, so many of them at a time, and prints the seconds that took. Each must bring BYTES to the end of the stream;
         with PATH it first asks for that over HTTP/1.0, and what comes has BYTES at the least.
     stream_clients hold PORT CONNECTIONS
         Connects so often with receive buffers of 2 KiB, prints "held", and reads nothing until its input ends; then prints how many bytes each
         client's system had taken.

   Ends with 1 and a line that says why when a connection brought something else. */

#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum { most_at_once = 1024 };

struct client {
    int socket;
    long bytes;
};

static struct client clients[most_at_once];
static int epoll;
static struct sockaddr_in server;
static char request[512];

static void fail(const char *what)
{
    fprintf(stderr, "stream_clients: %s: %s\n", what, strerror(errno));
    exit(1);
}

/* The handshake on loopback is over when connect returns; what follows does not block. */
static void begin(int number)
{
    struct client *client = &clients[number];
    client->bytes = 0;
    client->socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (client->socket < 0 || connect(client->socket, (const struct sockaddr *)&server, sizeof server) != 0)
        fail("connect");
    if (request[0] && send(client->socket, request, strlen(request), MSG_NOSIGNAL) < 0)
        fail("send");
    struct epoll_event event = {.events = EPOLLIN, .data.u32 = (unsigned)number};
    if (epoll_ctl(epoll, EPOLL_CTL_ADD, client->socket, &event) != 0)
        fail("epoll_ctl");
}

/* Whether the stream has ended. */
static int take(int number)
{
    static char buffer[1 << 20];
    struct client *client = &clients[number];
    ssize_t count;
    /* Counted and thrown away by the system: clients run on the server's cores, and should take little of them. */
    while ((count = recv(client->socket, buffer, sizeof buffer, MSG_DONTWAIT | MSG_TRUNC)) > 0)
        client->bytes += count;
    if (count < 0 && errno != EAGAIN)
        fail("recv");
    return count == 0;
}

static void many(long connections, int at_once, long bytes)
{
    struct timespec from, to;
    clock_gettime(CLOCK_MONOTONIC, &from);
    long begun = 0;
    for (; begun < at_once; ++begun)
        begin((int)begun);
    for (long ended = 0; ended < connections;) {
        struct epoll_event events[256];
        const int count = epoll_wait(epoll, events, 256, 10000);
        if (count <= 0)
            fail("nothing came for ten seconds");
        for (int event = 0; event < count; ++event) {
            const int number = (int)events[event].data.u32;
            if (!take(number))
                continue;
            close(clients[number].socket);
            if (request[0] ? clients[number].bytes < bytes : clients[number].bytes != bytes) {
                fprintf(stderr, "stream_clients: %ld bytes came, not %ld\n", clients[number].bytes, bytes);
                exit(1);
            }
            ++ended;
            if (begun < connections) {
                begin(number);
                ++begun;
            }
        }
    }
    clock_gettime(CLOCK_MONOTONIC, &to);
    printf("%.4f\n", (double)(to.tv_sec - from.tv_sec) + (double)(to.tv_nsec - from.tv_nsec) / 1e9);
}

static void hold(int connections)
{
    const int small = 2048;
    for (int number = 0; number < connections; ++number) {
        const int client = clients[number].socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        setsockopt(client, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        if (connect(client, (const struct sockaddr *)&server, sizeof server) != 0)
            fail("connect");
    }
    puts("held");
    fflush(stdout);
    while (getchar() != EOF) { }
    for (int number = 0; number < connections; ++number) {
        int waiting = 0;
        char byte;
        if (ioctl(clients[number].socket, FIONREAD, &waiting) != 0 || recv(clients[number].socket, &byte, 1, MSG_DONTWAIT) != 1)
            fail("a held connection has ended");
        printf("%d ", waiting);
    }
    puts("");
}

int main(int argc, char **argv)
{
    if (argc < 4)
        return 2;
    server.sin_family = AF_INET;
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    server.sin_port = htons((unsigned short)atoi(argv[2]));
    epoll = epoll_create1(EPOLL_CLOEXEC);
    if (!strcmp(argv[1], "hold") && atoi(argv[3]) <= most_at_once) {
        hold(atoi(argv[3]));
        return 0;
    }
    if (argc < 6 || atoi(argv[4]) > most_at_once)
        return 2;
    if (argc > 6)
        snprintf(request, sizeof request, "GET %s HTTP/1.0\r\n\r\n", argv[6]);
    many(atol(argv[3]), atoi(argv[4]), atol(argv[5]));
    return 0;
}
