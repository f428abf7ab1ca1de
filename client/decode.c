/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "decode.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static const char kToolPrefix[] = "zel_exec: ";
static const char kGroupPrefix[] = "zel_exec: command[";
static const char kStopPrefix[] = "zel_exec: stopped by signal ";
static const char kSudoPrefix[] = "sudo: ";
static const char kLockRefusal[] = ": Resource temporarily unavailable";
static const char kGroupName[] = "zel";

/* The start of the last line of `text` that begins with `prefix`, or NULL. */
static const char *last_line(const struct text *text, const char *prefix)
{
    const char *found = NULL;
    const size_t length = strlen(prefix);
    for (const char *line = text->data; line && *line; line = strchr(line, '\n'), line = line ? line + 1 : NULL) {
        if (strncmp(line, prefix, length) == 0) {
            found = line;
        }
    }
    return found;
}

static size_t line_length(const char *line)
{
    const char *end = strchr(line, '\n');
    return end ? (size_t)(end - line) : strlen(line);
}

/* The decimal number that `text` starts with after `prefix`, or -1. */
static long number_after(const char *text, const char *prefix)
{
    const char *at = strstr(text, prefix);
    if (!at) {
        return -1;
    }
    at += strlen(prefix);
    long value = 0;
    const char *digit = at;
    for (; *digit >= '0' && *digit <= '9' && value < 1000000; ++digit) {
        value = value * 10 + (*digit - '0');
    }
    return digit == at ? -1 : value;
}

static bool in_process_groups(gid_t gid)
{
    bool found = getegid() == gid;
    const int count = getgroups(0, NULL);
    gid_t *groups = count > 0 ? calloc((size_t)count, sizeof *groups) : NULL;
    const int listed = groups ? getgroups(count, groups) : 0;
    for (int i = 0; !found && i < listed; ++i) {
        found = groups[i] == gid;
    }
    free(groups);
    return found;
}

static bool listed_in(const struct passwd *user, const struct group *group)
{
    bool listed = user->pw_gid == group->gr_gid;
    for (char **member = group->gr_mem; !listed && *member; ++member) {
        listed = strcmp(*member, user->pw_name) == 0;
    }
    return listed;
}

/* The sudo rule is for the group zel. A process has the groups its login
   gave it: a member added since is listed in the database but not yet in them. */
static enum zel_reason refusal_reason(void)
{
    char users[8192];
    char groups[8192];
    struct passwd user;
    struct passwd *user_found = NULL;
    struct group group;
    struct group *group_found = NULL;
    if (getgrnam_r(kGroupName, &group, groups, sizeof groups, &group_found) != 0 || !group_found) {
        return ZEL_REASON_NOT_IN_GROUP;
    }
    if (in_process_groups(group.gr_gid)) {
        return ZEL_REASON_NO_RULE;
    }
    if (getpwuid_r(getuid(), &user, users, sizeof users, &user_found) != 0 || !user_found) {
        return ZEL_REASON_NOT_IN_GROUP;
    }
    return listed_in(&user, &group) ? ZEL_REASON_MEMBERSHIP_NOT_EFFECTIVE : ZEL_REASON_NOT_IN_GROUP;
}

static int set_message(struct zel_outcome *outcome, const char *line)
{
    if (!line) {
        return 0;
    }
    return text_append(&outcome->message, line, line_length(line));
}

static enum zel_kind kind_of_status(int status)
{
    switch (status) {
    case 0:
        return ZEL_OK;
    case 64:
        return ZEL_USAGE;
    case 65:
        return ZEL_UNKNOWN_COMMAND;
    case 66:
        return ZEL_BAD_PARAMETER;
    case 67:
        return ZEL_NOT_ROOT;
    case 74:
        return ZEL_FAILED;
    default:
        return ZEL_INTERNAL;
    }
}

/* A settings group whose file another process held locked: the diagnostic is
   the last line, and its text is the store's, naming that group's file. */
static bool is_lock_refusal(const struct batch_group *group, const char *line)
{
    char expected[96];
    if (!group->command->settings_file) {
        return false;
    }
    snprintf(expected, sizeof expected, " execution: lock/truncate %s%s\n", group->command->settings_file,
             kLockRefusal);
    const char *tail = strstr(line, " execution: ");
    return tail && strcmp(tail, expected) == 0;
}

/* sudo's own failures end it with status 1, which the tool never returns. */
static int decode_sudo(const struct invocation *run, struct zel_outcome *outcome)
{
    const char *line = last_line(&run->err, kSudoPrefix);
    if (line && strstr(line, "command not found")) {
        outcome->kind = ZEL_TOOL_MISSING;
    } else if (line) {
        outcome->kind = ZEL_NOT_AUTHORIZED;
        outcome->reason = refusal_reason();
    } else {
        outcome->kind = ZEL_INTERNAL;
    }
    return set_message(outcome, line);
}

int decode(const struct invocation *run, const struct zel_batch *batch, size_t first, struct zel_outcome *outcome,
           bool *lock_refused)
{
    *lock_refused = false;
    outcome->status = -1;
    outcome->signal = 0;
    outcome->group = (int)first;
    outcome->command = 0;
    outcome->message.length = 0;
    if (run->spawn_error) {
        outcome->kind = ZEL_TOOL_MISSING;
        return 0;
    }
    if (WIFSIGNALED(run->wait_status)) {
        outcome->signal = WTERMSIG(run->wait_status);
        outcome->kind = run->stopped ? ZEL_TIMED_OUT : ZEL_KILLED;
        /* The tool names the last group that ran, unless one failed first: then
           its diagnostic names that one. */
        const char *stop = last_line(&run->err, kStopPrefix);
        if (stop) {
            const long ran = number_after(stop, "after command[");
            outcome->group = (int)first + (ran > 0 ? (int)ran : 0);
            return set_message(outcome, stop);
        }
    } else {
        outcome->status = WEXITSTATUS(run->wait_status);
        if (outcome->status == 1) {
            return decode_sudo(run, outcome);
        }
        outcome->kind = kind_of_status(outcome->status);
        if (outcome->kind == ZEL_OK) {
            outcome->group = (int)batch->size;
            return 0;
        }
    }
    const char *line = last_line(&run->err, kGroupPrefix);
    if (!line) {
        return set_message(outcome, last_line(&run->err, kToolPrefix));
    }
    const long local = number_after(line, kGroupPrefix);
    const long id = number_after(line, "id=");
    if (local > 0 && (size_t)local <= batch->size - first) {
        const struct batch_group *group = &batch->groups[first + (size_t)local - 1];
        outcome->group = (int)first + (int)local;
        *lock_refused = outcome->kind == ZEL_FAILED && group->command->id == id && is_lock_refusal(group, line);
    }
    outcome->command = id > 0 ? (int)id : 0;
    return set_message(outcome, line);
}
