-- Values of primitive forms as text, and what is shown below those that have parts.
local values = {}

local function is_zero(range)
    return not range:raw():find("[^%z]")
end

-- "192.0.2.1", "2001:db8::1%3", nothing for no address; "raw:FAMILY:BYTES:SCOPE" for what these cannot carry.
local function ip_text(range)
    local family, scope = range(0, 1):uint(), range(17, 4):uint()
    if family == 6 then
        return tostring(range(1, 16):ipv6()) .. (scope ~= 0 and "%" .. scope or "")
    elseif family == 4 and is_zero(range(5, 16)) then
        return tostring(range(1, 4):ipv4())
    elseif is_zero(range) then
        return ""
    end
    return ("raw:%d:%s:%d"):format(family, tostring(range(1, 16):bytes()):lower(), scope)
end

local function vrf_text(range)
    return tostring(range(0, 8):uint64()) .. (":%d:%d:%d"):format(range(8, 4):uint(), range(12, 4):uint(), range(16, 4):uint())
end

local texts = {
    unsigned = function(range) return tostring(range:len() == 8 and range:uint64() or range:uint()) end,
    signed = function(range) return tostring(range:len() == 8 and range:int64() or range:int()) end,
    boolean = function(range) return range:uint() ~= 0 and "true" or "false" end,
    ipv4 = function(range) return tostring(range:ipv4()) end,
    mac = function(range) return tostring(range:ether()) end,
    ip = ip_text,
    vrf = vrf_text,
}

-- Where the parts of a form stand.
local parts = {
    ip = function(range)
        local family = range(0, 1):uint()
        local address = family == 4 and { "v4", range(1, 4) } or family == 6 and { "v6", range(1, 16) }
        return { { "family", range(0, 1) }, { "scope", range(17, 4) }, address or nil }
    end,
    vrf = function(range)
        return { { "id", range(0, 8) }, { "table", range(8, 4) }, { "afi", range(12, 4) }, { "safi", range(16, 4) } }
    end,
}

function values.text(row, range)
    local text = texts[row.form]
    return text and text(range) or tostring(range:bytes()):lower()
end

-- Adds a primitive value to the tree.
function values.add(tree, row, range, label)
    local item
    if parts[row.form] then
        item = tree:add(row.field, range, values.text(row, range))
        for _, part in ipairs(parts[row.form](range)) do
            item:add(row.parts[part[1]], part[2])
        end
    else
        item = tree:add(row.field, range)
    end
    local unit = row.unit and row.form ~= "ipv4" and " " .. row.unit or ""
    item:set_text(label .. ": " .. values.text(row, range) .. unit)
    return item
end

return values
