-- Tells Wireshark of the protocols, and which packets they are in.
local fields = require "ptp_cfg.fields"
local frames = require "ptp_cfg.frames"
local channel = require "ptp_cfg.channel"
local nats = require "ptp_cfg.nats"

local messages = Proto("ptp_cfg", "PTP configuration")
local framed = Proto("ptp_cfg_tcp", "PTP configuration over TCP")
local relayed = Proto("ptp_cfg_relay", "PTP configuration, relayed packets of a Unix socket")
local in_nats = Proto("ptp_cfg_nats", "PTP configuration over NATS")

messages.fields = fields.all
local experts = {}
for _, expert in pairs(fields.experts) do
    experts[#experts + 1] = expert
end
messages.experts = experts

function messages.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "PTP_CFG"
    pinfo.cols.info = frames.show(tvb, tree, messages)
    return tvb:len()
end
local show_framed, show_relayed = channel.framed(framed, messages), channel.relayed(relayed, messages)
local show_nats = nats.stream(in_nats, messages)
framed.dissector, relayed.dissector, in_nats.dissector = show_framed, show_relayed, show_nats

-- A captured packet that is a message or a bundle, as recordings are exported.
DissectorTable.get("wtap_encap"):add((wtap_encaps or wtap).USER0, messages)

messages.prefs.ports = Pref.range("TCP ports", "", "Ports of channels; others are recognised by their first frame", 65535)
messages.prefs.nats_port = Pref.uint("NATS port", 4222, "Where payloads of NATS are looked at; 0 for nowhere")

local given = ""
function messages.prefs_changed()
    local ports = DissectorTable.get "tcp.port"
    if given ~= "" then
        ports:remove(given, framed)
    end
    given = tostring(messages.prefs.ports)
    if given ~= "" then
        ports:add(given, framed)
    end
end

-- Calls the function itself: a call by way of the protocol could not ask for further segments.
local function claim(proto, show, tvb, pinfo, tree)
    pinfo.conversation = proto
    show(tvb, pinfo, tree)
    return true
end

messages:register_heuristic("tcp", function(tvb, pinfo, tree)
    local port = messages.prefs.nats_port
    if port ~= 0 and (pinfo.src_port == port or pinfo.dst_port == port) then
        return nats.is_ours(tvb) and claim(in_nats, show_nats, tvb, pinfo, tree)
    elseif channel.is_framed(tvb) then
        return claim(framed, show_framed, tvb, pinfo, tree)
    end
    return channel.is_relayed(tvb) and claim(relayed, show_relayed, tvb, pinfo, tree)
end)
DissectorTable.get("tcp.port"):add_for_decode_as(framed)
DissectorTable.get("tcp.port"):add_for_decode_as(relayed)
