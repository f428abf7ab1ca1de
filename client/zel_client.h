/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
/*
 * The front-end's side of zel_exec: builds batches from the command table, runs
 * them through "sudo -n /usr/bin/zel_exec" one call at a time per board, retries
 * a settings file's lock refusal without repeating what ran, ends a call at the
 * caller's deadline without leaving the hardware half set, and says what
 * happened as a typed outcome. Every handle is opaque; every call that can fail
 * returns 0 or a negative errno value. Safe in threaded programs: no fork, no
 * signal handlers, no global state.
 */
#ifndef ZEL_CLIENT_H
#define ZEL_CLIENT_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What a call came to. */
enum zel_kind {
    ZEL_OK,              /* every command ran */
    ZEL_USAGE,           /* status 64 */
    ZEL_UNKNOWN_COMMAND, /* status 65 */
    ZEL_BAD_PARAMETER,   /* status 66 */
    ZEL_NOT_ROOT,        /* status 67 */
    ZEL_INTERNAL,        /* status 70, or a status the protocol does not know */
    ZEL_FAILED,          /* status 74: a command failed; the ones before it stay done */
    ZEL_BUSY,            /* the board or a settings file stayed locked until the deadline */
    ZEL_NOT_AUTHORIZED,  /* sudo refused; zel_outcome_reason() says why */
    ZEL_TOOL_MISSING,    /* sudo or the tool is not installed */
    ZEL_TIMED_OUT,       /* stopped at the deadline or by zel_call_cancel() */
    ZEL_KILLED           /* ended by a signal that the client did not send */
};

/* Why sudo refused, for ZEL_NOT_AUTHORIZED. */
enum zel_reason {
    ZEL_REASON_NONE,
    ZEL_REASON_NOT_IN_GROUP,             /* the user is not a member of the group zel */
    ZEL_REASON_MEMBERSHIP_NOT_EFFECTIVE, /* a member, but not yet in this process's groups */
    ZEL_REASON_NO_RULE                   /* a member, yet no sudo rule lets the user run the tool */
};

/* The three settings files the tool saves. */
enum zel_setting {
    ZEL_SETTING_FAN_MODE,  /* /etc/zel/fanMode.config, 0 or 1 */
    ZEL_SETTING_FAN_LEVEL, /* /etc/zel/fanLevel.config, 0 to 6 */
    ZEL_SETTING_BLACK      /* /etc/device/black.config, the screen brightness 0 to 255 */
};

/* What a submitter does with a value that comes while a call is in flight. */
enum zel_policy {
    ZEL_POLICY_LATEST, /* keep it, replacing a pending one: a slider's last position wins */
    ZEL_POLICY_DROP    /* drop it: a button pressed during its own pulse */
};

/* The command table: ids in ascending order, as the tool lists them. */
size_t zel_command_count(void);
int zel_command_id(size_t index);
const char *zel_command_name(int id);
int zel_command_arg_count(int id);
int zel_command_arg_min(int id, int arg);
int zel_command_arg_max(int id, int arg);
long zel_command_worst_case_ms(int id, const int *args, size_t count);
bool zel_command_repeatable(int id);

/* A batch of 1 to 64 command groups. */
struct zel_batch;
struct zel_batch *zel_batch_new(void);
void zel_batch_free(struct zel_batch *batch);
int zel_batch_add(struct zel_batch *batch, int id, const int *args, size_t count);
size_t zel_batch_size(const struct zel_batch *batch);

/* How to reach the board; set up before the first call, then shared by any threads. */
struct zel_client;
struct zel_client *zel_client_new(void);
void zel_client_free(struct zel_client *client);
int zel_client_set_command(struct zel_client *client, const char *const *argv);
int zel_client_set_root(struct zel_client *client, const char *root);

/* What one call came to. */
struct zel_outcome;
void zel_outcome_free(struct zel_outcome *outcome);
enum zel_kind zel_outcome_kind(const struct zel_outcome *outcome);
const char *zel_kind_name(enum zel_kind kind);
int zel_outcome_group(const struct zel_outcome *outcome);
int zel_outcome_command(const struct zel_outcome *outcome);
int zel_outcome_status(const struct zel_outcome *outcome);
int zel_outcome_signal(const struct zel_outcome *outcome);
enum zel_reason zel_outcome_reason(const struct zel_outcome *outcome);
const char *zel_outcome_message(const struct zel_outcome *outcome);
const char *zel_outcome_stdout(const struct zel_outcome *outcome, size_t *length);
const char *zel_outcome_stderr(const struct zel_outcome *outcome, size_t *length);
bool zel_outcome_serialised(const struct zel_outcome *outcome);

/* One call that blocks until it has an outcome. */
int zel_client_run(struct zel_client *client, const struct zel_batch *batch, unsigned timeout_ms,
                   struct zel_outcome **outcome);

/* One call for an event loop: poll zel_call_fd() for reading, then finish. */
struct zel_call;
int zel_client_start(struct zel_client *client, const struct zel_batch *batch, unsigned timeout_ms,
                     struct zel_call **call);
int zel_call_fd(const struct zel_call *call);
void zel_call_cancel(struct zel_call *call);
int zel_call_finish(struct zel_call *call, struct zel_outcome **outcome);

/* Reading back what the board holds. */
int zel_client_read_setting(struct zel_client *client, enum zel_setting setting, unsigned timeout_ms, int *value);
int zel_client_read_power(struct zel_client *client, unsigned timeout_ms, bool power[2], struct zel_outcome **outcome);

/* One command sent from a UI, at most one call in flight. */
struct zel_submitter;
int zel_submitter_new(struct zel_client *client, int id, enum zel_policy policy, unsigned timeout_ms,
                      struct zel_submitter **submitter);
int zel_submitter_submit(struct zel_submitter *submitter, const int *args, size_t count);
int zel_submitter_wait(struct zel_submitter *submitter, struct zel_outcome **outcome);
void zel_submitter_free(struct zel_submitter *submitter);

#ifdef __cplusplus
}
#endif

#endif
