// What both programs of the demo need: an error test, narration, the wait at a channel.
#pragma once

#include <string>
#include <vector>

#include "ptp_cfg.h"
#include "vela_bundle.h"
#include "vela_transport.h"

namespace demo {

constexpr u_int32 mem_class = 0;
/** The transport's channel that both programs use. */
constexpr const char *domain = "gable";

/** Ends the program when `err` is set, saying what could not be done. */
void check(u_int32 err, const std::string &doing);

/** Writes a line that begins with the speaker's name. */
void say(const std::string &line);
/** Who speaks in this program. */
void introduce(const std::string &name);

/** Shows a record's printed text, indented below what was said last. */
void show(const std::string &text);

/** Prints any message by way of reflection. */
std::string printed(const ptp_cfg_type *type, vela_handle *handle, void *message);

/** Creates a handle with state tracking off. */
vela_handle *create_handle();

/** Waits until something happens at the channel, and does it; ends the program after ten silent seconds. */
void process(vela_channel *channel, vela_handle *handle, void *context);

}  // namespace demo
