-- Walks the bytes of messages by the tables of types, shows what stands where, and stops where it cannot be placed.
local fields = require "ptp_cfg.fields"
local values = require "ptp_cfg.values"

local tag_of_messages, header_width, luid_width = 0xBC, 27, 16
local tracked_bit, extra_bit = 0x08, 0x20
-- A display that has more items than this helps nobody, and Wireshark itself refuses a million.
local most_items = 400000
local most_flags = 32  -- in the label of an array's state flags

local lost = {}  -- thrown inside a walk: the rest of the bytes cannot be placed

local walker = {}
walker.__index = walker

local function has_bit(number, bit)
    return math.floor(number / bit) % 2 == 1
end

local function counted(number, noun)
    return number .. " " .. noun .. (number == 1 and "" or "s")
end

-- Bytes of the buffer; none at its very end is allowed.
function walker:range(offset, width)
    return self.tvb:range(offset, width)
end

function walker:left()
    return self.limit - self.position
end

-- A note on bytes that are there, or on an item where none are.
function walker:note(expert, item, text, offset, width)
    self.problems = self.problems + 1
    if width and width > 0 then
        item:add_tvb_expert_info(expert, self:range(offset, width), text)
    else
        item:add_proto_expert_info(expert, text)
    end
end

function walker:stop(...)
    self:note(...)
    error(lost, 0)
end

-- The next bytes, which must be there; the position stays.
function walker:peek(tree, width, name)
    if width > self:left() then
        local text = ("%s: %s wanted, %d left"):format(name, counted(width, "byte"), self:left())
        self:stop(fields.experts.truncated, tree, text, self.position, self:left())
    end
    return self:range(self.position, width)
end

-- The next bytes, and goes on behind them.
function walker:take(tree, width, name)
    local range = self:peek(tree, width, name)
    self.position = self.position + width
    self.items = self.items + 1
    if self.items > most_items then
        self:stop(fields.experts.too_many, tree, "more than " .. most_items .. " items; the rest is not shown")
    end
    return range
end

function walker:add(tree, field, width, name)
    local range = self:take(tree, width, name)
    return tree:add(field, range), range
end

function walker:variant(tree, type)
    local item, range = self:add(tree, type.variant, 1, "variant")
    local variant = range:int()
    if variant < 0 then
        item:append_text(", no instance")
    elseif variant > type.latest then
        item:append_text((", read as %d, the latest known"):format(type.latest))
    end
    return variant
end

function walker:flag(tree)
    local item, range = self:add(tree, fields.flag, 1, "flag")
    local flag = range:uint()
    local tracked, extra = has_bit(flag, tracked_bit), has_bit(flag, extra_bit)
    local known = (tracked and tracked_bit or 0) + (extra and extra_bit or 0)
    item:append_text(tracked and ", with state flags" or ", no state flags")
    item:append_text(extra and ", extra data" or "")
    item:append_text(flag ~= known and ", unknown bits ignored" or "")
    if extra then
        self:add(tree, fields.extra, 9, "extra data")
    end
    return tracked
end

-- A record's variant, flag and jump, its fields, and what a newer peer put behind them.
function walker:record(tree, type)
    local variant = self:variant(tree, type)
    local tracked = self:flag(tree)
    local start = self.position
    local item, range = self:add(tree, fields.jump, 4, "jump")
    local jump = range:uint()
    item:append_text((", ends at %.0f"):format(start + jump))
    self:record_fields(tree, type, math.min(variant, type.latest), tracked)
    local known = self.position - start
    if jump > self.limit - start then
        local beyond = jump - (self.limit - start)
        self:stop(fields.experts.jump, item, ("jump: ends %.0f bytes behind the last one"):format(beyond), start, 4)
    elseif jump < known then
        local text = "jump: says that the record ends after %s, but %d are taken by its jump and fields"
        self:note(fields.experts.jump, item, text:format(counted(jump, "byte"), known), start, 4)
    elseif jump > known then
        local newer = self:add(tree, fields.newer, jump - known, "(newer fields)")
        newer:add_proto_expert_info(fields.experts.newer)
    end
end

function walker:record_fields(tree, type, variant, tracked)
    local length = 0
    for _, row in ipairs(type.fields) do
        if row.since <= variant then
            local start = self.position
            local item = self:field(tree, row, length)
            if row.is_length then
                length = self:range(start, self.position - start):uint()
            elseif tracked then
                self:state(item, row)
            end
        end
    end
end

function walker:state(item, row)
    local wanted = row.capacity and row.capacity + 1 or 1
    local there = math.min(wanted, self:left())
    if there > 0 then  -- readers take trailing flags as 0 when the bytes end before them
        local state, range = self:add(item, row.state, there, "state")
        state:set_text(("%s state: %s"):format(row.name, table.concat({ range:raw():byte(1, most_flags) }, " ")))
        state:append_text(there > most_flags and " ..." or "")
        state:append_text(there < wanted and ", the rest is missing" or "")
    end
end

function walker:field(tree, row, length)
    if not row.capacity then
        return self:element(tree, row, row.name, length)
    end
    local start = self.position
    local list = tree
    if tree ~= self.byte_list then  -- which is shown as its bytes already
        list = tree:add(fields.array, self:range(start, self:left()))
        list:set_text(("%s: %s"):format(row.name, counted(row.capacity, "element")))
    end
    for index = 0, row.capacity - 1 do
        self:element(list, row, ("%s[%d]"):format(row.name, index), length)
    end
    if list ~= tree then
        list:set_len(self.position - start)
    end
    return list
end

function walker:element(tree, row, label, length)
    if row.form == "structure" then
        return self:structure(tree, row, label)
    elseif row.form == "enumeration" then
        return self:enumeration(tree, row, label)
    elseif row.form == "text" then
        return self:text(tree, row, label, length)
    end
    return values.add(tree, row, self:take(tree, row.width, label), label)
end

function walker:text(tree, row, label, length)
    if length > self:left() then
        local text = ("%s: %d characters wanted, %d left"):format(label, length, self:left())
        self:stop(fields.experts.count, tree, text, self.position, self:left())
    end
    local range = self:take(tree, length, label)
    return tree:add_packet_field(row.field, range, ENC_UTF_8 + ENC_NA)
end

function walker:enumeration(tree, row, label)
    local type = fields.enumerations[row.type]
    if self:left() < 5 then
        local cut = tree:add(fields.cut, self:range(self.position, self:left()))
        cut:set_text(label .. ": " .. row.type)
        self:variant(cut, type)
        self:peek(cut, 4, label)
    end
    local range = self:range(self.position + 1, 4)
    local item = tree:add(row.field, range)
    local value = range:uint()
    item:set_text(("%s: %s (%d)"):format(label, type.values[value] or "no literal", value))
    if not type.values[value] then
        item:add_proto_expert_info(fields.experts.literal, ("%s: %d has no literal"):format(label, value))
    end
    self:variant(item, type)
    self:take(item, 4, label)
    return item
end

-- Where the bytes of a list stand, when they are there.
function walker:bytes_of(type)
    local extra = self:left() > 1 and has_bit(self:range(self.position + 1, 1):uint(), extra_bit)
    local start = self.position + 6 + (extra and 9 or 0)
    local capacity = type.fields[1].capacity
    local there = self:left() > 0 and self:range(self.position, 1):int() >= 0 and start + capacity <= self.limit
    return there and self:range(start, capacity) or nil
end

function walker:structure(tree, row, label)
    local type = fields.structures[row.type]
    local start = self.position
    local bytes = type.bytes and self:bytes_of(type)
    local head
    if bytes then
        head = tree:add(row.field, bytes)
        head:set_text(label .. ": " .. tostring(bytes:bytes()):gsub("..", "%0-", type.fields[1].capacity - 1))
        self.byte_list = head
        self:record(head, type)
        return head
    end
    head = tree:add(type.bytes and fields.cut or row.field, self:range(start, self:left()))
    head:set_text(("%s: %s"):format(label, row.type))
    self:record(head, type)
    head:set_len(self.position - start)
    return head
end

function walker:header(tree)
    local start = self.position
    if self:left() < header_width + luid_width then
        local text = "a message has at least %d bytes of header and identity, %d are there"
        self:note(fields.experts.truncated, tree, text:format(header_width + luid_width, self:left()), start, self:left())
    end
    local tag = self:peek(tree, 1, "header/tag")
    if tag:uint() ~= tag_of_messages then
        local text = ("header/tag: %02x does not begin a message, bc does"):format(tag:uint())
        self:stop(fields.experts.not_a_message, tree, text, start, 1)
    end
    local header = tree:add(fields.header, self:range(start, math.min(header_width, self:left())))
    self:add(header, fields.tag, 1, "header/tag")
    self:add(header, fields.address, 6, "header/address")
    self:add(header, fields.tracked, 1, "header/tracked")
    self:add(header, fields.word, 4, "header/word")
    local item, range = self:add(header, fields.length, 4, "header/length")
    self:add(header, fields.reserved, 11, "header/reserved")
    self:limit_to(item, start, range:uint())
end

-- A message ends where its header says, if that can be.
function walker:limit_to(item, start, length)
    local text = "header/length: the message is said to have %.0f bytes, but %s"
    if length > self.limit - start then
        self:note(fields.experts.length, item, text:format(length, self.limit - start .. " are there"), start + 12, 4)
    elseif length < header_width + luid_width then
        self:stop(fields.experts.length, item, text:format(length, "header and identity have 43"), start + 12, 4)
    else
        self.limit = start + length
    end
end

function walker:identity(tree)
    local range = self:peek(tree, luid_width, "identity")
    local luid = tostring(range:bytes()):lower()
    local type = fields.messages[luid]
    if not type then
        self:stop(fields.experts.unknown, tree, "identity: no message is known as " .. luid, self.position, luid_width)
    end
    tree:add(fields.message, self:take(tree, luid_width, "identity"), type.name):add(fields.identity, range)
    return type
end

function walker:message(tree)
    self:header(tree)
    local type = self:identity(tree)
    self.name = type.name
    tree:append_text(": " .. type.name)
    for _, payload in ipairs(type.payloads) do
        self:element(tree, payload, payload.name, 0)
    end
    if self:left() > 0 then
        local text = counted(self:left(), "byte") .. " behind the last payload belong to nothing"
        self:note(fields.experts.left, tree, text, self.position, self:left())
    end
end

local walk = {}

-- Shows the message that begins at `offset` and may use the bytes up to `limit`. `state` counts items over several
-- messages. Gives where it ended, its name, if that is known, and whether all made sense.
function walk.message(tvb, offset, limit, tree, state)
    local walking = setmetatable({ tvb = tvb, position = offset, limit = limit, problems = 0, items = state.items }, walker)
    local ok, failure = pcall(walking.message, walking, tree)
    if not ok and failure ~= lost then
        error(failure, 0)
    end
    state.items = walking.items
    return walking.position, walking.name, walking.problems == 0
end

return walk
