/* What a sweep costs and takes at the least: its pauses, and the system calls of its probes, without a program around them. scan_bench.py builds it.

     bare_sweep pauses             254 hosts' pauses
     bare_sweep probes PREFIX      with the probes of PREFIX.1 to PREFIX.254 in between

   Prints the seconds it took. */

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static const int udp_ports[] = {9, 7, 53, 137, 161, 5353};
static const int tcp_ports[] = {80, 443};

static void pause_ms(long ms)
{
    const struct timespec time = {0, ms * 1000000};
    nanosleep(&time, NULL);
}

static void send_to(int sender, struct sockaddr_in *to, int port, const char *payload, size_t length)
{
    to->sin_port = htons(port);
    sendto(sender, payload, length, 0, (const struct sockaddr *)to, sizeof *to);
}

static void probe(int icmp, int udp, const char *prefix, int host)
{
    /* The checksum of a bare echo request (RFC 792), its identifier the host's number. */
    const unsigned checksum = 0xffff & ~(0x0800 + host + 1);
    const char echo[8] = {8, 0, (char)(checksum >> 8), (char)checksum, 0, (char)host, 0, 1};
    struct sockaddr_in to = {.sin_family = AF_INET};
    char text[32];
    snprintf(text, sizeof text, "%s.%d", prefix, host);
    inet_pton(AF_INET, text, &to.sin_addr);
    send_to(icmp, &to, 0, echo, sizeof echo);
    for (int i = 0; i < 6; ++i)
        send_to(udp, &to, udp_ports[i], "X", 1);
    for (int i = 0; i < 2; ++i) {
        const int connection = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        to.sin_port = htons(tcp_ports[i]);
        (void)!connect(connection, (const struct sockaddr *)&to, sizeof to);
        pause_ms(1);
        close(connection);
    }
}

int main(int count, char **words)
{
    const char *prefix = count > 2 && strcmp(words[1], "probes") == 0 ? words[2] : NULL;
    const int icmp = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, IPPROTO_ICMP);
    const int udp = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    struct timespec begun, ended;
    clock_gettime(CLOCK_MONOTONIC, &begun);
    for (int host = 1; host <= 254; ++host) {
        if (prefix) {
            probe(icmp, udp, prefix, host);
        } else {
            pause_ms(1);
            pause_ms(1);
        }
        pause_ms(100);
    }
    clock_gettime(CLOCK_MONOTONIC, &ended);
    printf("%.6f\n", (double)(ended.tv_sec - begun.tv_sec) + (double)(ended.tv_nsec - begun.tv_nsec) / 1e9);
    return 0;
}
