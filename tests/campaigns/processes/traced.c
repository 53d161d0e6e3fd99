/* Starts the daemon, under strace while /tmp/strace_orders exists: one argument of strace a line. Linked statically, so that
 * the virtual switch's preload library leaves its words in the environment for the daemon; strace itself gets none of them.
 *
 *     traced PROGRAM ARGUMENT...
 */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define ORDERS "/tmp/strace_orders"
#define MOST_WORDS 1024

extern char **environ;

static char orders[4096];
static char *words[MOST_WORDS];
static int count;

static void add(char *word) {
    if (count < MOST_WORDS - 1) words[count++] = word;
}

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    const int file = open(ORDERS, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        execv(argv[1], argv + 1);
        perror(argv[1]);
        return 127;
    }
    if (read(file, orders, sizeof orders - 1) <= 0) return 2;
    add("strace");
    for (char *word = strtok(orders, "\n"); word != NULL; word = strtok(NULL, "\n")) add(word);
    static char *bare[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", NULL};
    for (char **entry = environ; *entry != NULL; entry++) {
        add("-E");
        add(*entry);
    }
    add("--");
    for (int i = 1; i < argc; i++) add(argv[i]);
    execve("/usr/bin/strace", words, bare);
    perror("strace");
    return 127;
}
