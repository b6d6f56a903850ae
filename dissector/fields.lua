-- What can be filtered by: fields and expert notes, made once from the tables of types.
local types = require "ptp_cfg.types"

local fields = { all = {}, structures = {}, enumerations = {}, messages = {} }

local function register(abbreviation, name, kind, more)
    more = more or {}
    local field = ProtoField.new(name, "ptp_cfg." .. abbreviation, kind, more.values, more.base, nil, more.doc)
    fields.all[#fields.all + 1] = field
    return field
end

local function numbers(prefix)
    return { [1] = ftypes[prefix .. "8"], [2] = ftypes[prefix .. "16"], [4] = ftypes[prefix .. "32"], [8] = ftypes[prefix .. "64"] }
end
local unsigned_kinds, signed_kinds = numbers "UINT", numbers "INT"

-- By form, what kind of field it is, and by what its parts are called.
local kinds = {
    unsigned = function(row) return unsigned_kinds[row.width], { base = base.DEC } end,
    signed = function(row) return signed_kinds[row.width], { base = base.DEC } end,
    boolean = function() return ftypes.BOOLEAN, {} end,
    ipv4 = function() return ftypes.IPv4, {} end,
    mac = function() return ftypes.ETHER, {} end,
    ip = function() return ftypes.STRING, {} end,
    vrf = function() return ftypes.STRING, {} end,
    text = function() return ftypes.STRING, {} end,
    enumeration = function(row) return ftypes.UINT32, { base = base.DEC, values = fields.enumerations[row.type].values } end,
    structure = function(row)
        if fields.structures[row.type].bytes then
            return ftypes.BYTES, { base = base.DASH }
        end
        return ftypes.NONE, {}
    end,
}

local parts = {
    ip = { { "family", ftypes.UINT8 }, { "v4", ftypes.IPv4 }, { "v6", ftypes.IPv6 }, { "scope", ftypes.UINT32 } },
    vrf = { { "id", ftypes.UINT64 }, { "table", ftypes.UINT32 }, { "afi", ftypes.UINT32 }, { "safi", ftypes.UINT32 } },
}

-- Gives a row of the tables its field, those of its parts and that of its state flags.
local function add_fields(row, owner)
    local path = owner .. "." .. row.name
    local make = kinds[row.form]
    local kind, more = ftypes.BYTES, {}  -- a form that came later: its bytes are shown
    if make then
        kind, more = make(row)
    end
    more.doc = row.doc
    row.field = register(path, row.name, kind, more)
    row.parts = {}
    for _, part in ipairs(parts[row.form] or {}) do
        row.parts[part[1]] = register(path .. "." .. part[1], part[1], part[2])
    end
    if not row.is_length then
        local flags = row.capacity and ftypes.BYTES or ftypes.UINT8
        row.state = register(path .. ".state", "state", flags, { base = row.capacity and base.SPACE or base.DEC })
    end
end

-- A structure that is nothing but a list of bytes, such as an identity, is also shown as these bytes.
local function is_byte_list(type)
    local first = type.fields[1]
    return #type.fields == 1 and first.capacity and first.form == "unsigned" and first.width == 1
end

for _, type in ipairs(types.enumerations) do
    fields.enumerations[type.name] = type
    type.variant = register("variant." .. type.name, "variant", ftypes.INT8, { base = base.DEC })
end
for _, type in ipairs(types.structures) do
    fields.structures[type.name] = type
    type.variant = register("variant." .. type.name, "variant", ftypes.INT8, { base = base.DEC })
    type.bytes = is_byte_list(type)
end
for _, type in ipairs(types.structures) do
    for _, row in ipairs(type.fields) do
        add_fields(row, type.name)
    end
end
for _, type in ipairs(types.messages) do
    fields.messages[type.identity] = type
    for _, row in ipairs(type.payloads) do
        add_fields(row, type.name)
    end
end

fields.header = register("header", "header", ftypes.NONE)
fields.tag = register("header.tag", "tag", ftypes.UINT8, { base = base.HEX })
fields.address = register("header.address", "address", ftypes.ETHER)
fields.tracked = register("header.tracked", "tracked", ftypes.BOOLEAN, { doc = "State flags travel." })
fields.word = register("header.word", "word", ftypes.UINT32, { base = base.DEC, doc = "The sender's header word." })
fields.length = register("header.length", "length", ftypes.UINT32, { base = base.DEC, doc = "Bytes of the whole message." })
fields.reserved = register("header.reserved", "reserved", ftypes.BYTES)
fields.message = register("message", "identity", ftypes.STRING, { doc = "The message's name." })
fields.identity = register("identity", "LUID", ftypes.BYTES, { doc = "What identifies the message." })

fields.flag = register("record.flag", "flag", ftypes.UINT8, { base = base.HEX })
fields.extra = register("record.extra", "extra data", ftypes.BYTES)
fields.jump = register("record.jump", "jump", ftypes.UINT32, { base = base.DEC, doc = "Bytes from here to the record's end." })
fields.newer = register("record.newer", "(newer fields)", ftypes.BYTES, { doc = "What a newer peer put behind the known fields." })
fields.array = register("array", "array", ftypes.NONE)
fields.cut = register("cut", "cut", ftypes.NONE, { doc = "A value of which not all bytes are there." })
fields.rest = register("not_understood", "(not understood)", ftypes.BYTES)

fields.bundle = register("bundle", "bundle", ftypes.NONE)
fields.bundle_tag = register("bundle.tag", "tag", ftypes.STRING)
fields.bundle_version = register("bundle.version", "version", ftypes.UINT8, { base = base.DEC })
fields.bundle_reserved = register("bundle.reserved", "reserved", ftypes.BYTES)
fields.bundle_count = register("bundle.count", "count", ftypes.UINT32, { base = base.DEC, doc = "Messages in the bundle." })
fields.bundle_length = register("bundle.length", "length", ftypes.UINT32, { base = base.DEC, doc = "Bytes of the whole bundle." })
fields.bundle_message = register("bundle.message_length", "message length", ftypes.UINT32, { base = base.DEC })

fields.frame_length = register("frame.length", "frame length", ftypes.UINT32, { base = base.DEC })
fields.confirmed = register("frame.confirmed", "confirmed", ftypes.UINT32, { base = base.DEC, doc = "Frames that were delivered." })
fields.refused = register("frame.refused", "refused", ftypes.NONE, { doc = "The listening end has no place for the peer." })
fields.piece = register("frame.piece", "piece", ftypes.UINT8, { base = base.DEC, doc = "1: a long frame's first packet, 2: a further one." })
fields.piece_bytes = register("frame.piece_bytes", "bytes", ftypes.BYTES)
fields.nats_line = register("nats.line", "line", ftypes.STRING)

local function note(abbreviation, text, group, severity)
    return ProtoExpert.new("ptp_cfg." .. abbreviation, text, group, severity)
end
fields.experts = {
    truncated = note("truncated", "The bytes end too early", expert.group.MALFORMED, expert.severity.ERROR),
    not_a_message = note("not_a_message", "No message begins here", expert.group.MALFORMED, expert.severity.ERROR),
    unknown = note("unknown_message", "No message of this identity is known", expert.group.UNDECODED, expert.severity.ERROR),
    left = note("bytes_left", "Bytes belong to nothing", expert.group.MALFORMED, expert.severity.ERROR),
    length = note("length_wrong", "A length does not fit what is there", expert.group.MALFORMED, expert.severity.ERROR),
    jump = note("jump_wrong", "A jump ends where the record cannot", expert.group.MALFORMED, expert.severity.ERROR),
    count = note("count_too_large", "A count is larger than what is there", expert.group.MALFORMED, expert.severity.ERROR),
    literal = note("no_literal", "The value has no literal", expert.group.UNDECODED, expert.severity.NOTE),
    newer = note("newer_fields", "Fields of a newer peer are skipped", expert.group.UNDECODED, expert.severity.NOTE),
    too_many = note("too_many_items", "There is more than is shown", expert.group.UNDECODED, expert.severity.WARN),
}
return fields
