-- Shows what holds messages: messages one behind the other, bundles, and the frames of a channel.
local fields = require "ptp_cfg.fields"
local walk = require "ptp_cfg.walk"

local frames = { longest = 64 * 1024 * 1024 }  -- bytes of a message or bundle

local bundle_header = 16
local everyone = ("\xff"):rep(6)

-- "ptp_clock_cfg, ptp_port_cfg, 12 more"
local function summary(names)
    local shown = table.concat(names, ", ", 1, math.min(#names, 6))
    return #names > 6 and shown .. (", %d more"):format(#names - 6) or shown
end

local function rest(tvb, from, to, tree)
    if to > from then
        tree:add(fields.rest, tvb(from, to - from))
    end
end

local function show_messages(tvb, tree, proto)
    local position, names, state, ok = 0, {}, { items = 0 }, true
    repeat
        local start, name = position, nil
        local item = tree:add(proto, tvb(start))
        position, name, ok = walk.message(tvb, start, tvb:len(), item, state)
        item:set_len(position - start)
        names[#names + 1] = name or "not a message"
    until not ok or position >= tvb:len() or position == start
    rest(tvb, position, tvb:len(), tree)
    return summary(names)
end

-- The fields before a bundle's messages. Gives how many messages it claims, and where it ends.
local function bundle_head(tvb, tree)
    tree:add(fields.bundle_tag, tvb(0, 4))
    tree:add(fields.bundle_version, tvb(4, 1))
    tree:add(fields.bundle_reserved, tvb(5, 3))
    local count, length = tvb(8, 4):uint(), tvb(12, 4):uint()
    local count_item = tree:add(fields.bundle_count, tvb(8, 4))
    local length_item = tree:add(fields.bundle_length, tvb(12, 4))
    local ends = math.min(length, tvb:len())
    if length > tvb:len() then
        local text = "the bundle is said to have %.0f bytes, but %d are there"
        length_item:add_proto_expert_info(fields.experts.length, text:format(length, tvb:len()))
    end
    if count * 4 > math.max(ends - bundle_header, 0) then
        local text = "%.0f messages do not fit in what is there"
        count_item:add_proto_expert_info(fields.experts.count, text:format(count))
    end
    return count, ends
end

-- One message of a bundle behind its length. Gives where it ends, or nothing when nothing behind it can be placed.
local function bundled(tvb, position, ends, bundle, proto, names, state)
    if ends - position < 4 then
        bundle:add_proto_expert_info(fields.experts.truncated, "a message's length wanted, " .. ends - position .. " bytes left")
        return nil
    end
    local length = tvb(position, 4):uint()
    local length_item = bundle:add(fields.bundle_message, tvb(position, 4))
    local start = position + 4
    if length > ends - start then
        local text = "the message is said to have %.0f bytes, but %d are there"
        length_item:add_proto_expert_info(fields.experts.length, text:format(length, ends - start))
        return nil
    end
    local item = bundle:add(proto, tvb(start, length))
    local at, name = walk.message(tvb, start, start + length, item, state)
    if at < start + length then
        item:add_tvb_expert_info(fields.experts.left, tvb(at, start + length - at))
        rest(tvb, at, start + length, item)
    end
    names[#names + 1] = name or "not a message"
    return start + length
end

local function show_bundle(tvb, tree, proto)
    local bundle = tree:add(fields.bundle, tvb())
    if tvb:len() < bundle_header then
        bundle:add_proto_expert_info(fields.experts.truncated, "a bundle has at least 16 bytes")
        return "bundle, cut"
    end
    local count, ends = bundle_head(tvb, bundle)
    local names, state = {}, { items = 0 }
    local position = bundle_header
    while position and #names < count do
        local next_position = bundled(tvb, position, ends, bundle, proto, names, state)
        if not next_position then
            break
        end
        position = next_position
    end
    if position < tvb:len() then
        bundle:add_tvb_expert_info(fields.experts.left, tvb(position))
        rest(tvb, position, tvb:len(), bundle)
    end
    return ("bundle of %.0f: "):format(count) .. summary(names)
end

-- Whether bytes begin as a message or a bundle, as far as can be seen.
function frames.begins(tvb, offset)
    local there = tvb:len() - offset
    if there < bundle_header then
        return false
    end
    return tvb(offset, 7):raw() == "\xbc" .. everyone and tvb(offset + 7, 1):uint() <= 1
        or tvb(offset, 8):raw() == "VBND\1\0\0\0"
end

-- How long what begins there is, 0 when more must be seen, nothing when it cannot be told.
function frames.length(tvb, offset)
    if tvb:len() - offset < bundle_header then
        return 0
    end
    if not frames.begins(tvb, offset) then
        return nil
    end
    local length = tvb(offset + 12, 4):uint()
    return length >= bundle_header and length <= frames.longest and length or nil
end

-- Shows a whole frame, and says in a few words what it holds.
function frames.show(tvb, tree, proto)
    if tvb:len() == 0 then
        return "empty"
    end
    local is_bundle = tvb:len() >= 4 and tvb(0, 4):raw() == "VBND"
    return (is_bundle and show_bundle or show_messages)(tvb, tree, proto)
end

return frames
