-- Channels over TCP: frames behind their lengths, confirmations; and packets of a Unix socket that were relayed there.
local fields = require "ptp_cfg.fields"
local frames = require "ptp_cfg.frames"

local channel = {}

local top_bit, no_place = 0x80000000, 0xFFFFFFFF

-- Adds to the column what one more frame of the same packet holds.
local function tell(pinfo, text)
    pinfo.cols.info:append((pinfo.private.ptp_cfg_told and "; " or "") .. text)
    pinfo.private.ptp_cfg_told = "1"
end

-- Clears what TCP wrote there.
local function begin(pinfo)
    pinfo.cols.protocol = "PTP_CFG"
    pinfo.cols.info:clear()
    pinfo.private.ptp_cfg_told = nil
end

local function rest_of_packet(tvb, offset)
    return tvb:reported_len() - offset
end

local function frame_length(tvb, _, offset)
    local length = tvb(offset, 4):uint()
    if length >= top_bit then
        return 4
    end
    -- No channel takes longer ones; waiting for it would hide all that follows.
    return length <= frames.longest and 4 + length or rest_of_packet(tvb, offset)
end

local function show_frame(tvb, pinfo, root, own, messages)
    local word = tvb(0, 4):uint()
    local tree = root:add(own, tvb(0, 4))
    if word == no_place then
        tree:add(fields.refused, tvb(0, 4)):set_text("No place for the peer")
        tell(pinfo, "no place for the peer")
    elseif word >= top_bit then
        tree:add(fields.confirmed, tvb(0, 4), word - top_bit)
        tell(pinfo, ("%.0f confirmed"):format(word - top_bit))
    else
        local item = tree:add(fields.frame_length, tvb(0, 4))
        if 4 + word > tvb:reported_len() then
            item:add_proto_expert_info(fields.experts.length, "longer than any frame of a channel")
        end
        tell(pinfo, tvb:len() > 4 and frames.show(tvb(4):tvb(), root, messages) or "empty frame")
    end
    return tvb:len()
end

-- Relayed packets have no lengths of their own: those of their messages must do.
local function relayed_length(tvb, _, offset)
    local first = tvb(offset, 1):uint()
    if first == 3 then
        return 1
    elseif first == 0xBC or first == 0x56 then
        return frames.length(tvb, offset) or rest_of_packet(tvb, offset)
    end
    return rest_of_packet(tvb, offset)
end

local function show_relayed(tvb, pinfo, root, own, messages)
    local first = tvb(0, 1):uint()
    if first == 3 then
        root:add(own, tvb(0, 1)):add(fields.refused, tvb(0, 1)):set_text("No place for the peer")
        tell(pinfo, "no place for the peer")
    elseif (first == 1 and tvb:len() >= 5) or first == 2 then
        local tree = root:add(own, tvb())
        tree:add(fields.piece, tvb(0, 1))
        if first == 1 then
            tree:add(fields.frame_length, tvb(1, 4))
        end
        local start = first == 1 and 5 or 1
        if tvb:len() > start then
            tree:add(fields.piece_bytes, tvb(start))
        end
        tell(pinfo, ("piece of a long frame, %d bytes"):format(tvb:len() - start))
    else
        tell(pinfo, frames.show(tvb, root, messages))
    end
    return tvb:len()
end

-- Makes the dissector of a stream: of the protocol `own`, whose frames hold `messages`.
local function stream(own, least, length_of, show, messages)
    return function(tvb, pinfo, tree)
        begin(pinfo)
        dissect_tcp_pdus(tvb, tree, least, length_of, function(pdu, info, root)
            return show(pdu, info, root, own, messages)
        end)
        return tvb:len()
    end
end

function channel.framed(own, messages)
    return stream(own, 4, frame_length, show_frame, messages)
end

function channel.relayed(own, messages)
    return stream(own, 1, relayed_length, show_relayed, messages)
end

-- Whether a packet begins with a frame whose length and beginning fit together.
function channel.is_framed(tvb)
    if tvb:len() < 4 + 16 then
        return false
    end
    local length = tvb(0, 4):uint()
    return length >= 16 and length <= frames.longest and frames.begins(tvb, 4)
end

function channel.is_relayed(tvb)
    if tvb:len() >= 5 + 16 and tvb(0, 1):uint() == 1 then
        return tvb(1, 4):uint() <= frames.longest and frames.begins(tvb, 5)
    end
    return frames.length(tvb, 0) ~= nil and frames.begins(tvb, 0)
end

return channel
