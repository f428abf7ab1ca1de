/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_OUTCOME_H
#define ZEL_CLIENT_OUTCOME_H

#include "zel_client.h"

#include <stddef.h>

/* Bytes that grow as a stream is read; data is always followed by a NUL. */
struct text {
    char *data;
    size_t length;
};

/* 0, or -ENOMEM with the text unchanged. */
int text_append(struct text *text, const char *bytes, size_t length);

struct zel_outcome {
    enum zel_kind kind;
    enum zel_reason reason;
    int group;
    int command;
    int status;
    int signal;
    bool serialised;
    struct text message;
    struct text out;
    struct text err;
};

struct zel_outcome *outcome_new(void);

#endif
