// send: the messages of files to a channel.
#include "commands.h"
#include "failure.h"
#include "outgoing.h"
#include "record_stream.h"
#include "wire.h"

namespace ptpcfg {
namespace {

/**
 * The messages of an input as bytes. Bytes that come as such are checked, and left as they are unless a domain says that
 * the peer knows less.
 */
void append_messages(const std::string &path, const send_options &options, const session &session,
                     std::vector<std::string> &messages) {
    input_stream input(path);
    const std::string &name = input.name();
    const format from = input_format(options.from, path, input.ahead(format_lookahead));
    if (from == format::rec) {
        throw failure(exit_code::bad_input, name + ": is a recording; 'ptpcfg replay' sends it");
    }
    if (is_written(from) || session.has_domain()) {
        each_record(input, from, nullptr, session,
                    [&messages](const record &each) { append_bytes(each, messages.emplace_back()); });
        return;
    }
    const std::string content(input.ahead(std::string::npos));
    const std::string bytes = from == format::hex ? from_hex(name, content) : content;
    for (const message_span &span : split_messages(name, bytes)) {
        messages.push_back(bytes.substr(span.offset, span.length));
        message_from_bytes(name, span.offset, messages.back(), nullptr, session);
    }
}

}  // namespace

void send(const send_options &options) {
    if (!options.from.empty()) {
        format_named(options.from, "--from", input_formats);
    }
    const session session(options.session);
    // Everything is read and checked before the first byte leaves.
    std::vector<std::string> messages;
    for (const std::string &path : options.files) {
        append_messages(path, options, session, messages);
    }
    if (options.damage.is_wanted()) {
        for (std::string &message : messages) {
            damage(options.damage, message);
        }
        send_raw(options.channel, messages);
        return;
    }
    outgoing channel(options.channel, messages.size());
    for (const std::string &message : messages) {
        channel.offer(message);
    }
    channel.finish();
}

}  // namespace ptpcfg
