-- Takes the payloads of a vehicle's diagnostic services apart (SOME/IP, Wireshark 4.0).

-- What there is to dissect; shapes are described where they are made, in Shapes.h.
local model = {values = {}, services = {}}

local vehicle = Proto("diag_ara", "Vehicle Diagnostics")

local REQUEST, REQUEST_NO_RETURN, NOTIFICATION, RESPONSE, ERROR = 0x00, 0x01, 0x02, 0x80, 0x81
local TP_FLAG = 0x20 -- the last segment of a message that came in several
local NUMBERS = {[1] = ftypes.UINT8, [2] = ftypes.UINT16, [4] = ftypes.UINT32, [8] = ftypes.UINT64}
local HEADER_BEHIND_LENGTH = 8 -- bytes that a message's length counts before its payload
local BYTE_ORDER_MARK = "\xEF\xBB\xBF"
local INFO_LENGTH = 100

-- The header in front of a payload is known by the fields that it left in the frame, the last ones being ours.
local message_id = Field.new("someip.messageid")
local message_type = Field.new("someip.messagetype")
local return_code = Field.new("someip.returncode")
local client_id = Field.new("someip.clientid")
local length = Field.new("someip.length")
local session_id = Field.new("someip.sessionid")
local quoted = Field.new("icmp.type") -- messages that "port unreachable" quotes are no messages
local entry_type = Field.new("someipsd.entry.type")
local entry_service = Field.new("someipsd.entry.serviceid")
local entry_instance = Field.new("someipsd.entry.instanceid")
local entry_ttl = Field.new("someipsd.entry.ttl")

local malformed = ProtoExpert.new("diag_ara.malformed", "The payload doesn't fit its interface",
                                  expert.group.MALFORMED, expert.severity.ERROR)
local surplus = ProtoExpert.new("diag_ara.surplus", "Bytes behind the last field",
                                expert.group.UNDECODED, expert.severity.WARN)
local unanswered = ProtoExpert.new("diag_ara.unanswered", "No reply in this capture",
                                   expert.group.SEQUENCE, expert.severity.NOTE)
vehicle.experts = {malformed, surplus, unanswered}

-- Fields by their full names, "diag_ara.d_b047.field_1".
local fields = {}

local function declare(path, title, kind, base, values, mask)
  path = "diag_ara." .. path
  if fields[path] == nil then
    fields[path] = ProtoField.new(title, path, kind, values, base, mask)
  end
end

local value_names = {}
for name, pairs_of in pairs(model.values) do
  value_names[name] = {}
  for _, pair in ipairs(pairs_of) do value_names[name][pair[1]] = pair[2] end
end

local function path_of(shape, prefix)
  return shape.shared and shape.name or prefix .. "." .. shape.name
end

local function declare_shape(shape, prefix)
  local path = path_of(shape, prefix)
  if shape.kind == "number" then
    declare(path, shape.name, NUMBERS[shape.size], base.DEC_HEX, value_names[shape.values])
    if shape.halves then
      declare(prefix .. "." .. shape.halves[1], shape.halves[1], ftypes.UINT8, base.DEC, nil, 0xF0)
      declare(prefix .. "." .. shape.halves[2], shape.halves[2], ftypes.UINT8, base.DEC, nil, 0x0F)
    end
    return
  end
  declare(path .. ".length", "length", ftypes.UINT32)
  if shape.kind == "array" or shape.kind == "bytes" then
    declare(path, shape.name, ftypes.BYTES)
    declare(path .. ".text", "text", ftypes.STRING)
    if shape.counted then declare(path .. ".entry", "entry", ftypes.BYTES) end
  elseif shape.kind == "text" then
    declare(path, shape.name, ftypes.STRING)
  elseif shape.kind == "map" then
    declare(path, shape.name, ftypes.NONE)
    declare(path .. ".key.length", "length", ftypes.UINT32)
    declare(path .. ".key", "key", ftypes.STRING)
    declare(path .. ".value.length", "length", ftypes.UINT32)
    declare(path .. ".value", "value", ftypes.STRING)
  elseif shape.kind == "list" then
    declare_shape(shape.element, prefix)
  else
    declare(path, shape.name, ftypes.NONE)
    declare(path .. ".tag", "tag", ftypes.UINT16, base.HEX)
    declare(path .. ".unknown", "unknown member", ftypes.BYTES)
    for _, member in ipairs(shape.members) do declare_shape(member, path) end
  end
end

local place -- the part of the tree that the field being read belongs to

-- Ends the reading at bytes that aren't what the field takes, or behind the last one if there is none.
local function refuse(cursor, at, size, path, text)
  local range = size > 0 and cursor.payload(at, size) or cursor.payload(at - 1, 1)
  error({name = path:match("%.(.*)$") or path, range = range, text = path .. text})
end

-- Reads from a payload, never behind `stop`.
local function take(cursor, count, what)
  local left = cursor.stop - cursor.at
  if count > left then
    refuse(cursor, cursor.at, left, what,
           string.format(" at byte %d: expected %d bytes, received %d", cursor.at, count, left))
  end
  cursor.at = cursor.at + count
  return cursor.payload(cursor.at - count, count)
end

local function field(path)
  return fields["diag_ara." .. path]
end

-- The bytes behind a length field of so many bytes, and the length field; with none, all that is left.
local function take_record(cursor, size, path)
  if size == 0 then return take(cursor, cursor.stop - cursor.at, path) end
  local length_bytes = take(cursor, size, path .. ".length")
  local record = take(cursor, length_bytes:uint(), path)
  return record, length_bytes
end

local function show_length(tree, path, length_bytes)
  if length_bytes then tree:add(field(path .. ".length"), length_bytes) end
end

-- Text without byte order mark and closing zero.
local function plain_text(range)
  local text = range:len() > 0 and range:raw() or ""
  if text:sub(1, 3) == BYTE_ORDER_MARK then text = text:sub(4) end
  return (text:gsub("%z$", ""))
end

-- Printable ASCII of four characters or more, with nothing but zeros behind it.
local function printable(text)
  local characters = text:match("^([\32-\126]+)%z*$")
  return characters and #characters >= 4 and characters or nil
end

local decode -- (shape, prefix, cursor, tree, words): shows a value in `tree`, adds it in short to `words`

local function decode_number(shape, prefix, cursor, tree, words)
  local path = path_of(shape, prefix)
  local range = take(cursor, shape.size, path)
  local item = tree:add(field(path), range)
  local value = shape.size == 8 and tostring(range:uint64()) or range:uint()
  if shape.halves then
    for _, half in ipairs(shape.halves) do item:add(field(prefix .. "." .. half), range) end
    words[#words + 1] = string.format("%s %d, %s %d", shape.halves[1], math.floor(value / 16),
                                      shape.halves[2], value % 16)
  else
    words[#words + 1] = value_names[shape.values] and value_names[shape.values][value] or tostring(value)
  end
  return value
end

local function decode_bytes(shape, prefix, cursor, tree, words, count)
  local path = path_of(shape, prefix)
  local range, length_bytes = take_record(cursor, shape.length_field, path)
  if shape.kind == "array" and range:len() ~= shape.size then
    refuse(cursor, cursor.at - range:len(), range:len(), path,
           string.format(": expected length %d, received length %d", shape.size, range:len()))
  end
  local item = tree:add(field(path), range)
  show_length(item, path, length_bytes)
  local text = range:len() > 0 and printable(range:raw())
  if text then
    item:append_text(' "' .. text .. '"')
    item:add(field(path .. ".text"), range, text):set_generated()
  end
  if shape.counted and count and count > 0 and range:len() > 0 and range:len() % count == 0 then
    local size = range:len() / count
    for index = 0, count - 1 do
      item:add(field(path .. ".entry"), range(index * size, size)):prepend_text("[" .. index .. "] ")
    end
    words[#words] = string.format("%d %s of %d B", count, count == 1 and "entry" or "entries", size)
  else
    words[#words + 1] = text and '"' .. text .. '"' or range:len() <= 4 and tostring(range:bytes()) or range:len() .. " B"
  end
  return range
end

local function decode_text(shape, prefix, cursor, tree, words)
  local path = path_of(shape, prefix)
  local range, length_bytes = take_record(cursor, shape.length_field, path)
  local text = plain_text(range)
  show_length(tree:add(field(path), range, text), path, length_bytes)
  words[#words + 1] = '"' .. text .. '"'
end

-- Pairs, as long as two length fields fit in.
local function decode_map(shape, prefix, cursor, tree, words)
  local path = path_of(shape, prefix)
  local range, length_bytes = take_record(cursor, shape.length_field, path)
  local item = tree:add(field(path), range)
  show_length(item, path, length_bytes)
  local inner = {payload = cursor.payload, at = cursor.at - range:len(), stop = cursor.at}
  local text_shape = {kind = "text", length_field = 4, shared = true}
  local count = 0
  while inner.stop - inner.at >= 8 do
    for _, name in ipairs({".key", ".value"}) do
      text_shape.name = path .. name
      decode_text(text_shape, prefix, inner, item, {})
    end
    count = count + 1
  end
  item:append_text(string.format(": %d %s", count, count == 1 and "pair" or "pairs"))
  if count > 0 then words[#words + 1] = string.format("%s: %d", shape.name, count) end
end

local function decode_list(shape, prefix, cursor, tree, words)
  local path = path_of(shape, prefix)
  local range, length_bytes = take_record(cursor, shape.length_field, path)
  show_length(tree, path, length_bytes)
  local inner = {payload = cursor.payload, at = cursor.at - range:len(), stop = cursor.at}
  while inner.at < inner.stop do decode(shape.element, prefix, inner, tree, words) end
end

-- Members in order; bytes that an array in front counts are told so.
local function decode_members(members, prefix, cursor, tree, words)
  local before
  for _, member in ipairs(members) do
    local count = member.counted and before:uint()
    before = decode(member, prefix, cursor, tree, words, count)
  end
end

local WIRE_TYPE_SIZES = {[0] = 1, [1] = 2, [2] = 4, [3] = 8} -- of plain numbers
local WIRE_TYPE_LENGTHS = {[4] = 4, [5] = 1, [6] = 2, [7] = 4} -- of the length field of anything else

-- Members behind their tags: four bits of wire type (the upper one reserved), twelve of data id.
local function decode_tagged(members, path, cursor, tree, words)
  while cursor.at < cursor.stop do
    place = tree
    local tag_bytes = take(cursor, 2, path .. ".tag")
    local tag = tag_bytes:uint()
    local wire_type, data_id = math.floor(tag / 0x1000) % 8, tag % 0x1000
    tree:add(field(path .. ".tag"), tag_bytes)
    local known
    for _, member in ipairs(members) do
      if member.tag == data_id then known = member end
    end
    if known and known.kind == "number" and WIRE_TYPE_SIZES[wire_type] == known.size then
      decode_number(known, path, cursor, tree, words)
    else
      local unknown = path .. ".unknown"
      local size = WIRE_TYPE_SIZES[wire_type] or take(cursor, WIRE_TYPE_LENGTHS[wire_type], unknown):uint()
      tree:add(field(unknown), take(cursor, size, unknown))
    end
  end
end

local function decode_structure(shape, prefix, cursor, tree, words)
  local path = path_of(shape, prefix)
  local inner, item = cursor, nil
  if shape.length_field > 0 then
    local range, length_bytes = take_record(cursor, shape.length_field, path)
    inner = {payload = cursor.payload, at = cursor.at - range:len(), stop = cursor.at}
    item = tree:add(field(path), range)
    show_length(item, path, length_bytes)
  else
    item = tree:add(field(path), cursor.payload(cursor.at, 0))
  end
  local inside = {}
  local members = shape.kind == "tagged" and decode_tagged or decode_members
  members(shape.members, path, inner, item, inside)
  words[#words + 1] = "{" .. table.concat(inside, ", ") .. "}"
end

local DECODERS = {number = decode_number, array = decode_bytes, bytes = decode_bytes, text = decode_text,
                  map = decode_map, list = decode_list, structure = decode_structure, tagged = decode_structure}

decode = function(shape, prefix, cursor, tree, words, count)
  place = tree
  return DECODERS[shape.kind](shape, prefix, cursor, tree, words, count)
end

-- What a payload holds, by the message that it came in; nil if nothing is known of that.
local function shapes_of(message, kind, code)
  if kind == REQUEST or kind == REQUEST_NO_RETURN then return message.request end
  if kind == NOTIFICATION then return message.event end
  if kind == RESPONSE and code == 0 then return message.reply end
  for _, error in ipairs(message.errors or {}) do
    if error.code == code then return error.fields end
  end
end

-- The trouble code is told by the port of its instance.
local function show_code(service, pinfo, tree, words)
  local code = service.codes[pinfo.src_port] or service.codes[pinfo.dst_port]
  if not code then return end
  tree:add(field(service.prefix .. ".code"), code):set_generated()
  words[#words + 1] = tostring(code)
end

local function shortened(text)
  return #text > INFO_LENGTH and text:sub(1, INFO_LENGTH - 3) .. "..." or text
end

local function last(extractor)
  local all = {extractor()}
  return all[1] and all[#all].value
end

local services, messages = {}, {} -- by service id; by message id
local told = {} -- what the payloads of the frame hold, in short: by their place among its messages

function vehicle.dissector(payload, pinfo, tree)
  local service, message = services[math.floor(pinfo.match_uint / 0x10000)], messages[pinfo.match_uint]
  local kind, code = last(message_type), last(return_code)
  if not kind then return payload:len() end -- a pass without fields, of which nothing is shown
  if kind ~= ERROR then kind = bit.band(kind, bit.bnot(TP_FLAG)) end
  local item = tree:add(vehicle, payload(), "Vehicle Diagnostics: " .. service.name .. ", " .. message.name)
  local cursor, words = {payload = payload, at = 0, stop = payload:len()}, {}
  local known = shapes_of(message, kind, code)
  show_code(service, pinfo, item, words)
  place = item
  local fine, problem = pcall(decode_members, known or {}, service.prefix, cursor, item, words)
  if not fine then
    if type(problem) ~= "table" then error(problem) end
    place:add(problem.range, problem.name .. ": malformed"):add_proto_expert_info(malformed, problem.text)
    words[#words + 1] = "MALFORMED " .. problem.text
  elseif cursor.at < cursor.stop then
    local rest = payload(cursor.at)
    item:add(field("rest"), rest):add_proto_expert_info(surplus)
    words[#words + 1] = rest:len() .. " B more"
  end
  local text = shortened(table.concat(words, " | "))
  if text ~= "" then item:append_text(": " .. text) end
  told[select("#", message_id())] = text
  return payload:len()
end

-- Calls and replies, of all frames: which belong together, and what a frame is about in one line.
local calls = Proto("diag_ara_calls", "Vehicle Diagnostics Calls")
local seen = {} -- by key and frame: "first" in the pass that comes before what is shown, or "late"
local open = {} -- calls that wait for their reply, by key: frame and time of the request
local reply_to, request_of = {}, {} -- by key and frame
local KINDS = {[REQUEST] = "request", [REQUEST_NO_RETURN] = "request without reply", [NOTIFICATION] = "event",
               [RESPONSE] = "reply", [ERROR] = "error"}

function calls.init()
  seen, open, reply_to, request_of = {}, {}, {}, {}
end

-- One call has one key, whichever way its messages go.
local function key_of(pinfo, is_request, id, client, session)
  local from = tostring(pinfo.src) .. ":" .. pinfo.src_port
  local to = tostring(pinfo.dst) .. ":" .. pinfo.dst_port
  if not is_request then from, to = to, from end
  return table.concat({from, to, id, client, session}, " ")
end

-- Keys come again, as session numbers do: calls are matched in the order of the capture. A first pass that has no
-- fields (tshark -2 without a filter) leaves that to the second.
local function match(pinfo, kind, key, frame)
  if seen[frame] then return end
  seen[frame] = pinfo.visited and "late" or "first"
  if kind == REQUEST then
    open[key] = {number = pinfo.number, time = pinfo.abs_ts, frame = frame}
  elseif open[key] then
    request_of[frame] = open[key]
    reply_to[open[key].frame] = pinfo.number
    open[key] = nil
  end
end

local function show_call(pinfo, tree, kind, key)
  local frame = key .. " " .. pinfo.number
  match(pinfo, kind, key, frame)
  local reply, request = reply_to[frame], request_of[frame]
  if kind ~= REQUEST then
    if not request then return end
    tree:add(field("request_in"), request.number):set_generated()
    local nanoseconds = math.floor((pinfo.abs_ts - request.time) * 1e9 + 0.5)
    tree:add(field("time"), NSTime.new(0, nanoseconds)):set_generated()
  elseif reply then
    tree:add(field("reply_in"), reply):set_generated()
  elseif pinfo.visited and seen[frame] == "first" then
    tree:add_proto_expert_info(unanswered)
  end
end

-- Whether a message without a payload should have one.
local function lacks_payload(message, kind, code, length)
  local shapes = shapes_of(message, kind, code)
  return length == HEADER_BEHIND_LENGTH and shapes ~= nil and next(shapes) ~= nil and shapes[1].length_field ~= 0
end

local ENTRIES = {[0] = {"find", "find"}, [1] = {"offer", "stop offer"}, [6] = {"subscribe", "stop subscribe"},
                 [7] = {"acknowledge", "refuse"}} -- and with a time to live of zero

-- What service discovery says: "offer A, B; find C", an instance other than 1 with its number.
local function discovery_line()
  local kinds, ids, instances, ttls = {entry_type()}, {entry_service()}, {entry_instance()}, {entry_ttl()}
  local line, before = "", nil
  for index, kind in ipairs(kinds) do
    local verbs = ENTRIES[kind.value]
    if not verbs or not (ids[index] and instances[index] and ttls[index]) then return nil end
    local verb = verbs[ttls[index].value == 0 and 2 or 1]
    local service, instance = services[ids[index].value], instances[index].value
    local name = service and service.label or string.format("0x%04x", ids[index].value)
    if instance ~= 1 then name = name .. (instance == 0xFFFF and " any" or " " .. instance) end
    line = line .. (verb == before and ", " or (before and "; " or "") .. verb .. " ") .. name
    before = verb
  end
  return before and shortened(line)
end

function calls.dissector(_, pinfo, tree)
  local lines = {}
  local ids, kinds, codes = {message_id()}, {message_type()}, {return_code()}
  local clients, sessions, lengths = {client_id()}, {session_id()}, {length()}
  if quoted() then ids = {} end
  for index, id in ipairs(ids) do
    local message = messages[id.value]
    if message then
      local kind = kinds[index].value
      if kind ~= ERROR then kind = bit.band(kind, bit.bnot(TP_FLAG)) end
      local line = message.label .. " " .. (KINDS[kind] or kinds[index].display)
      if kind == ERROR then line = line .. " " .. codes[index].display end
      if told[index] and told[index] ~= "" then line = line .. ": " .. told[index] end
      local item = tree:add(calls, line)
      if lacks_payload(message, kind, codes[index].value, lengths[index].value) then
        item:add_proto_expert_info(malformed, "no payload")
        line = line .. ": MALFORMED no payload"
      end
      lines[#lines + 1] = line
      if kind == REQUEST or kind == RESPONSE or kind == ERROR then
        local key = key_of(pinfo, kind == REQUEST, id.value, clients[index].value, sessions[index].value)
        show_call(pinfo, item, kind, key)
      end
    end
  end
  told = {}
  local discovery = not quoted() and discovery_line()
  if discovery then pinfo.cols.info = discovery end
  if #lines > 0 then pinfo.cols.info = table.concat(lines, "; ") end
end

declare("rest", "bytes behind the last field", ftypes.BYTES)
declare("reply_in", "reply in frame", ftypes.FRAMENUM)
declare("request_in", "request in frame", ftypes.FRAMENUM)
declare("time", "time since the request", ftypes.RELATIVE_TIME)
for _, service in ipairs(model.services) do
  services[service.id] = service
  local codes = {}
  for _, pair in ipairs(service.codes) do codes[pair[1]] = pair[2] end
  service.codes = codes
  service.label = service.name:gsub("^%a+_", "")
  if next(codes) then declare(service.prefix .. ".code", "trouble code", ftypes.UINT32, base.DEC_HEX) end
  for _, message in ipairs(service.messages) do
    messages[service.id * 0x10000 + message.id] = message
    message.label = service.label .. " " .. message.name
    local all = {message.request or {}, message.reply or {}, message.event or {}}
    for _, error in ipairs(message.errors or {}) do all[#all + 1] = error.fields end
    for _, shapes in ipairs(all) do
      for _, shape in ipairs(shapes) do declare_shape(shape, service.prefix) end
    end
  end
end

vehicle.fields = fields
local by_message = DissectorTable.get("someip.messageid")
for id in pairs(messages) do by_message:add(id, vehicle) end
register_postdissector(calls)
