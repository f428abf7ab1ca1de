/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "outcome.h"

#include "export.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

int text_append(struct text *text, const char *bytes, size_t length)
{
    char *grown = realloc(text->data, text->length + length + 1);
    if (!grown) {
        return -ENOMEM;
    }
    memcpy(grown + text->length, bytes, length);
    text->length += length;
    grown[text->length] = '\0';
    text->data = grown;
    return 0;
}

struct zel_outcome *outcome_new(void)
{
    struct zel_outcome *outcome = calloc(1, sizeof *outcome);
    if (outcome) {
        outcome->status = -1;
    }
    return outcome;
}

ZEL_API void zel_outcome_free(struct zel_outcome *outcome)
{
    if (outcome) {
        free(outcome->message.data);
        free(outcome->out.data);
        free(outcome->err.data);
        free(outcome);
    }
}

ZEL_API enum zel_kind zel_outcome_kind(const struct zel_outcome *outcome) { return outcome->kind; }

ZEL_API const char *zel_kind_name(enum zel_kind kind)
{
    static const char *const names[] = {
        "ok",     "usage", "unknown command", "bad parameter", "not root",  "internal",
        "failed", "busy",  "not authorized",  "tool missing",  "timed out", "killed",
    };
    return (unsigned)kind < sizeof names / sizeof names[0] ? names[kind] : NULL;
}

ZEL_API int zel_outcome_group(const struct zel_outcome *outcome) { return outcome->group; }

ZEL_API int zel_outcome_command(const struct zel_outcome *outcome) { return outcome->command; }

ZEL_API int zel_outcome_status(const struct zel_outcome *outcome) { return outcome->status; }

ZEL_API int zel_outcome_signal(const struct zel_outcome *outcome) { return outcome->signal; }

ZEL_API enum zel_reason zel_outcome_reason(const struct zel_outcome *outcome) { return outcome->reason; }

static const char *text_of(const struct text *text, size_t *length)
{
    if (length) {
        *length = text->length;
    }
    return text->data ? text->data : "";
}

ZEL_API const char *zel_outcome_message(const struct zel_outcome *outcome) { return text_of(&outcome->message, NULL); }

ZEL_API const char *zel_outcome_stdout(const struct zel_outcome *outcome, size_t *length)
{
    return text_of(&outcome->out, length);
}

ZEL_API const char *zel_outcome_stderr(const struct zel_outcome *outcome, size_t *length)
{
    return text_of(&outcome->err, length);
}

ZEL_API bool zel_outcome_serialised(const struct zel_outcome *outcome) { return outcome->serialised; }
