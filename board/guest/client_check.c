/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
/*
 * The board checks' front-end: calls the tool through the client library that
 * the packages installed, as a UI or a daemon of the board would.
 *   run TIMEOUT_MS GROUP...  one call: its kind, status, signal, group, command
 *                            and whether it ended within TIMEOUT_MS plus the
 *                            worst case of its commands and a second
 *   race PAIRS               two processes each send fan-p5 (103) at the same
 *                            moment, PAIRS times; counts the pairs after which
 *                            pwmchip0/pwm1 held neither call's whole state
 *   ui ROUNDS                saves fan-mode (201) and fan-level (202) ROUNDS
 *                            times; counts calls that did not succeed, prints
 *                            the values saved last and whether a call met a
 *                            settings file's lock and was retried
 *   daemon ROUNDS            sends fan-p5 (103) ROUNDS times; counts failures
 *   reader ROUNDS            reads fan-mode and fan-level ROUNDS times; counts
 *                            reads that found no value
 *   slide POSITIONS          drags brightness-p5 (302) through POSITIONS
 *                            positions; the outcome and the last position
 *   hold FILE                a front-end without the client: holds FILE's
 *                            shared lock until a writer has been refused it
 */
#define _DEFAULT_SOURCE
#include <zel_client.h>

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

/* The deadline of the calls that must succeed: one that no busy emulated board reaches, as these
   checks are about what the calls do, not when they give up. */
enum { PATIENT_MS = 60000 };

static long long now_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* "ID ARG..." as numbers: how many, or -1. */
static int parse_group(const char *group, int values[4])
{
    int count = 0;
    for (char *end; count < 4 && *group; group = end) {
        values[count++] = (int)strtol(group, &end, 10);
        if (end == group) {
            return -1;
        }
    }
    return count;
}

/* Settings groups run again after another process's lock refused them. */
static int retried;

/* Runs the groups; the outcome's kind, or -1 when the library refused. */
static int run(struct zel_client *client, unsigned timeout_ms, char **groups, int count, int verbose)
{
    struct zel_batch *batch = zel_batch_new();
    long worst = 0;
    for (int i = 0; i < count; ++i) {
        int values[4];
        const int n = parse_group(groups[i], values);
        if (!batch || n < 1 || zel_batch_add(batch, values[0], values + 1, (size_t)n - 1) != 0) {
            fprintf(stderr, "client_check: the library refuses \"%s\"\n", groups[i]);
            zel_batch_free(batch);
            return -1;
        }
        const long ms = zel_command_worst_case_ms(values[0], values + 1, (size_t)n - 1);
        worst = ms > worst ? ms : worst;
    }
    struct zel_outcome *outcome = NULL;
    const long long start = now_ms();
    const int error = zel_client_run(client, batch, timeout_ms, &outcome);
    const long long took = now_ms() - start;
    zel_batch_free(batch);
    if (error) {
        fprintf(stderr, "client_check: zel_client_run: %s\n", strerror(-error));
        return -1;
    }
    const int kind = zel_outcome_kind(outcome);
    for (const char *at = zel_outcome_stderr(outcome, NULL); (at = strstr(at, "lock/truncate")); ++at) {
        retried += kind == ZEL_OK;
    }
    if (verbose) {
        printf("%s, status %d, signal %d, group %d, command %d, %s\n", zel_kind_name(kind), zel_outcome_status(outcome),
               zel_outcome_signal(outcome), zel_outcome_group(outcome), zel_outcome_command(outcome),
               took <= timeout_ms + worst + 1000 ? "in time" : "late");
    } else if (kind != ZEL_OK) {
        fprintf(stderr, "%s: %s\n", zel_kind_name(kind), zel_outcome_message(outcome));
    }
    zel_outcome_free(outcome);
    return kind;
}

static void read_line(const char *path, char *text, size_t size)
{
    FILE *file = fopen(path, "r");
    if (!file || !fgets(text, (int)size, file)) {
        strcpy(text, "?\n");
    }
    if (file) {
        fclose(file);
    }
    text[strcspn(text, "\n")] = '\0';
}

/* Each pair starts when both processes have said they are ready, so that
   their calls meet; the parent looks at the channel once both are done. */
static int race(struct zel_client *client, int pairs)
{
    static char on[] = "103 40000 1", off[] = "103 8000 0";
    int go[2], done[2];
    if (pipe(go) != 0 || pipe(done) != 0) {
        perror("client_check: pipe");
        return 1;
    }
    const pid_t child = fork();
    if (child == 0) {
        char *group = off;
        close(go[1]);
        close(done[0]);
        for (char byte; read(go[0], &byte, 1) == 1;) {
            byte = (char)(run(client, PATIENT_MS, &group, 1, 0) == ZEL_OK);
            if (write(done[1], &byte, 1) != 1) {
                _exit(1);
            }
        }
        _exit(0);
    }
    close(go[0]);
    close(done[1]);
    int succeeded = 0, mixed = 0;
    for (int pair = 0; pair < pairs; ++pair) {
        char byte = 0, *group = on;
        if (write(go[1], &byte, 1) != 1) {
            break;
        }
        succeeded += run(client, PATIENT_MS, &group, 1, 0) == ZEL_OK;
        if (read(done[0], &byte, 1) != 1) {
            break;
        }
        succeeded += byte;
        char period[32], duty[32], enable[32], state[100];
        read_line("/sys/class/pwm/pwmchip0/pwm1/period", period, sizeof period);
        read_line("/sys/class/pwm/pwmchip0/pwm1/duty_cycle", duty, sizeof duty);
        read_line("/sys/class/pwm/pwmchip0/pwm1/enable", enable, sizeof enable);
        snprintf(state, sizeof state, "%s %s %s", period, duty, enable);
        mixed += strcmp(state, "40000 40000 1") != 0 && strcmp(state, "40000 8000 0") != 0;
    }
    close(go[1]);
    waitpid(child, NULL, 0);
    printf("%d ok, %d mixed\n", succeeded, mixed);
    return 0;
}

static int rounds(struct zel_client *client, const char *role, int count)
{
    int failed = 0;
    char group[2][32];
    char *groups[2] = {group[0], group[1]};
    for (int round = 1; round <= count; ++round) {
        if (strcmp(role, "reader") == 0) {
            int value;
            failed += zel_client_read_setting(client, ZEL_SETTING_FAN_MODE, PATIENT_MS, &value) != 1;
            failed += zel_client_read_setting(client, ZEL_SETTING_FAN_LEVEL, PATIENT_MS, &value) != 1;
            continue;
        }
        const int ui = strcmp(role, "ui") == 0;
        snprintf(group[0], sizeof group[0], ui ? "201 %d" : "103 %d 1", ui ? round % 2 : 8000 + round % 2 * 32000);
        snprintf(group[1], sizeof group[1], "202 %d", round % 7);
        failed += run(client, PATIENT_MS, groups, ui ? 2 : 1, 0) != ZEL_OK;
    }
    printf("%s: %d of %d failed", role, failed, strcmp(role, "reader") == 0 ? 2 * count : count);
    if (strcmp(role, "ui") == 0) {
        printf(", saved %d %d, %s", count % 2, count % 7, retried ? "lock refusals retried" : "no lock refusal met");
    }
    printf("\n");
    return 0;
}

static int slide(struct zel_client *client, int positions)
{
    struct zel_submitter *slider;
    if (zel_submitter_new(client, 302, ZEL_POLICY_LATEST, PATIENT_MS, &slider) != 0) {
        return 1;
    }
    int last[2] = {0, 0};
    for (int position = 1; position <= positions; ++position) {
        last[0] = position * 5000 % 255001;
        last[1] = position * 5 % 256;
        if (zel_submitter_submit(slider, last, 2) != 1) {
            printf("position %d refused\n", position);
        }
        const struct timespec pause = {0, 20000000L};
        nanosleep(&pause, NULL);
    }
    struct zel_outcome *outcome = NULL;
    const int error = zel_submitter_wait(slider, &outcome);
    printf("%s, last %d %d\n", error || !outcome ? "no outcome" : zel_kind_name(zel_outcome_kind(outcome)), last[0],
           last[1]);
    zel_outcome_free(outcome);
    zel_submitter_free(slider);
    return 0;
}

/* Says "holding" once the lock is held. Nothing can write FILE while it is, so
   a writer that closes it has been refused: the lock goes then, and the
   refused call has something to retry however the processes happen to meet. */
static int hold(const char *path)
{
    const int fd = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    const int watch = inotify_init1(IN_CLOEXEC);
    if (fd < 0 || watch < 0 || flock(fd, LOCK_SH) != 0 || inotify_add_watch(watch, path, IN_CLOSE_WRITE) < 0) {
        perror("client_check: hold");
        return 1;
    }
    printf("holding\n");
    fflush(stdout);
    struct pollfd closed = {watch, POLLIN, 0};
    printf("%s\n", poll(&closed, 1, PATIENT_MS) == 1 ? "a writer refused" : "no writer came");
    close(watch);
    close(fd);
    return 0;
}

int main(int argc, char **argv)
{
    struct zel_client *client = zel_client_new();
    if (!client || argc < 3) {
        fprintf(stderr, "usage: client_check run TIMEOUT_MS GROUP... | race PAIRS | ui|daemon|reader ROUNDS | "
                        "slide POSITIONS | hold FILE\n");
        return 2;
    }
    const int number = atoi(argv[2]);
    int status = 2;
    if (strcmp(argv[1], "run") == 0) {
        status = run(client, (unsigned)number, argv + 3, argc - 3, 1) < 0;
    } else if (strcmp(argv[1], "race") == 0) {
        status = race(client, number);
    } else if (strcmp(argv[1], "slide") == 0) {
        status = slide(client, number);
    } else if (strcmp(argv[1], "hold") == 0) {
        status = hold(argv[2]);
    } else if (strcmp(argv[1], "ui") == 0 || strcmp(argv[1], "daemon") == 0 || strcmp(argv[1], "reader") == 0) {
        status = rounds(client, argv[1], number);
    }
    zel_client_free(client);
    return status;
}
