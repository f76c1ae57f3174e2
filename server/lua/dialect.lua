-- Output filter: gives PROPFIND replies the dialect of the storage account.
--
--  * live properties carry the prefix lp0,
--  * the requested folder comes after its members,
--  * D:quota and D:used (whole mebibytes) are properties of the requested folder.
--
-- httpd hands over one bucket at a time through the global `bucket` and ends with nil. The reply is
-- collected, rewritten once and sent with its length. Whatever fails, the unchanged reply is sent.

local find, sub, byte = string.find, string.sub, string.byte

local OPEN_TAG, SLASH = 60, 47 -- '<' and '/'
local NOT_FOUND = "</D:prop>\n<D:status>HTTP/1.1 404 Not Found</D:status>\n</D:propstat>\n"
local FOUND = "</D:prop>\n<D:status>HTTP/1.1 200 OK</D:status>\n</D:propstat>\n"
local PROPSTAT = "<D:propstat>\n<D:prop>\n"

-- True when the prefix at `at` is one of a tag's name; href text never holds a bare '<'.
local function names_a_tag(text, at)
  local before = byte(text, at - 1)
  return before == OPEN_TAG or (before == SLASH and byte(text, at - 2) == OPEN_TAG)
end

-- True when the prefix at `at` is being declared, as in xmlns:lp1="DAV:". Nor does href text hold
-- a bare quote.
local function is_declared(text, at, prefix)
  return sub(text, at - 6, at + #prefix + 1) == "xmlns:" .. prefix .. '="'
end

-- Start and end of what is to be left out when `names` at `at` is dropped: the whole propstat when
-- nothing else is in it.
local function dropped_range(text, at, names)
  local last = at + #names - 1
  local alone = sub(text, at - #PROPSTAT, at - 1) == PROPSTAT
    and sub(text, last + 1, last + #NOT_FOUND) == NOT_FOUND
  if alone then return at - #PROPSTAT, last + #NOT_FOUND end
  return at, last
end

-- Renames `prefix` to lp0 and drops `names` wherever they stand. Plain finds, since patterns take
-- three times as long over a reply of some megabytes.
local function rewrite(text, prefix, names)
  local out, count, from = {}, 0, 1
  local length = #prefix
  local tag = find(text, prefix, 1, true)
  local drop = names and find(text, names, 1, true)
  while tag or drop do
    if tag and not (drop and drop < tag) then
      if names_a_tag(text, tag) or is_declared(text, tag, prefix) then
        out[count + 1], out[count + 2] = sub(text, from, tag - 1), "lp0"
        count, from = count + 2, tag + length
      end
      tag = find(text, prefix, tag + length, true)
    else
      local first, last = dropped_range(text, drop, names)
      count = count + 1
      out[count], from = sub(text, from, first - 1), last + 1
      drop = find(text, names, from, true)
    end
  end
  out[count + 1] = sub(text, from)
  return table.concat(out)
end

-- The requested folder's own response, with its quota and used space among the properties found.
local function with_space(own, names, r)
  local at = find(own, names, 1, true)
  local first, last = dropped_range(own, at, names)
  own = sub(own, 1, first - 1) .. sub(own, last + 1)
  -- Each listing has a Lua state of its own, and most do without the space: loaded here only.
  local quota, used = require("usage").quota_and_used(r)
  local space = ("<D:quota>%d</D:quota>\n<D:used>%d</D:used>\n"):format(quota, used)
  local found = find(own, FOUND, 1, true)
  if found then return sub(own, 1, found - 1) .. space .. sub(own, found) end
  local head = find(own, "</D:href>\n", 1, true) + #"</D:href>\n"
  return sub(own, 1, head - 1) .. PROPSTAT .. space .. FOUND .. sub(own, head)
end

local function in_dialect(text, r)
  local first = find(text, "<D:response", 1, true)
  if not first then return text end
  local _, last = find(text, "</D:response>\n", first, true)
  local own = sub(text, first, last)
  local members_end = find(text, "</D:multistatus>", last, true)
  local prefix = own:match('xmlns:(lp%d+)="DAV:"')
  local unknown = own:match('xmlns:(g%d+)="DAV:"')
  local names = unknown and ("<%s:quota/>\n<%s:used/>\n"):format(unknown, unknown)
  if names and find(own, names, 1, true) then
    if find(own, "/</D:href>", 1, true) then own = with_space(own, names, r) end
  else
    names = nil
  end
  local members = sub(text, last + 1, members_end - 1)
  if prefix then
    members = rewrite(members, prefix, names)
    own = rewrite(own, prefix, nil)
  end
  return sub(text, 1, first - 1) .. members .. own .. sub(text, members_end)
end

local function collect()
  local parts, count = {}, 0
  coroutine.yield()
  while bucket do
    count = count + 1
    parts[count] = bucket
    coroutine.yield("")
  end
  return table.concat(parts)
end

function filter(r)
  local text = collect()
  if r.status == 207 then
    local ok, result = pcall(in_dialect, text, r)
    if ok then
      text = result
    else
      r:err("dialect: " .. tostring(result))
    end
    r.headers_out["Content-Length"] = tostring(#text)
  end
  coroutine.yield(text)
end
