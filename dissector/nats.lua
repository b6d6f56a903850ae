-- Messages as payloads of NATS: the lines of its protocol, and below them what begins as a message or a bundle.
local fields = require "ptp_cfg.fields"
local frames = require "ptp_cfg.frames"

local nats = {}

local longest_line = 4096
local with_payload = { PUB = true, MSG = true, HPUB = true, HMSG = true }

-- The line that begins there, without its end; nothing when its end is not seen.
local function line_at(tvb, offset)
    local text = tvb(offset, math.min(tvb:len() - offset, longest_line)):raw()
    local ends = text:find("\r\n", 1, true)
    return ends and text:sub(1, ends - 1)
end

-- Of a line that announces a payload, how many bytes of headers and of all there are.
local function announced(line)
    local words = {}
    for word in line:gmatch "%S+" do
        words[#words + 1] = word
    end
    local verb = (words[1] or ""):upper()
    local total = tonumber(words[#words])
    if not with_payload[verb] or not total or total < 0 or total > frames.longest or total % 1 ~= 0 then
        return nil
    end
    local headers = verb:sub(1, 1) == "H" and tonumber(words[#words - 1]) or 0
    return headers <= total and headers >= 0 and headers % 1 == 0 and headers or 0, total
end

local function length_of(tvb, _, offset)
    local line = line_at(tvb, offset)
    if not line then
        return tvb:len() - offset < longest_line and 0 or tvb:len() - offset
    end
    local _, total = announced(line)
    return #line + 2 + (total and total + 2 or 0)
end

local function show(tvb, pinfo, root, own, messages)
    local line = line_at(tvb, 0) or ""
    root:add(own, tvb()):add(fields.nats_line, tvb(0, #line))
    local headers, total = announced(line)
    local start = #line + 2 + (headers or 0)
    if total and tvb:len() >= #line + 2 + total and frames.begins(tvb, start) then
        pinfo.cols.protocol = "PTP_CFG"
        pinfo.cols.info = line:sub(1, 60) .. ": " .. frames.show(tvb(start, total - headers):tvb(), root, messages)
    end
    return tvb:len()
end

-- Whether a line of the packet announces a payload that begins as a message.
function nats.is_ours(tvb)
    local offset = 0
    while offset < tvb:len() do
        local line = line_at(tvb, offset)
        if not line then
            return false
        end
        local headers, total = announced(line)
        if total and frames.begins(tvb, offset + #line + 2 + headers) then
            return true
        end
        offset = offset + #line + 2 + (total and total + 2 or 0)
    end
    return false
end

function nats.stream(own, messages)
    return function(tvb, pinfo, tree)
        dissect_tcp_pdus(tvb, tree, 1, length_of, function(pdu, info, root)
            return show(pdu, info, root, own, messages)
        end)
        return tvb:len()
    end
end

return nats
