-- Keeps the bytes of a broken upload, so that a ranged PUT can continue it.
--
-- mod_dav throws the bytes of a broken plain PUT away, but writes a PUT with a Content-Range in
-- place and keeps what came. So a plain PUT of more than one piece gets the range of the whole file
-- here, and the file's former version waits beside the account's files meanwhile:
--
--   kept/KEY.record   who writes (a token), how long the file will be, whether it replaces a former
--                     version, and its path below Files
--   kept/KEY.former   the version before the upload
--   kept/KEY.part     the bytes of an upload that broke; the former version is back in its place
--
-- A ranged PUT is taken only onto a part: of the same path and length, right where its bytes end
-- (a sender may be behind by one piece, never ahead), and soon after the break. Every other one
-- gets 400 and changes nothing.

local usage = require "usage"

local PIECE = 51200                -- a PUT of one piece needs no resuming and stays atomic
local KEPT_FOR = 15 * 60 * 1000000 -- microseconds
local BREAK_NOTICED_IN = 2         -- seconds until httpd must have seen that a connection is gone
local FILE = 1                     -- httpd's file type
local REPLACES, NEW = "replaces", "new"
local INSUFFICIENT_STORAGE = 507

local function size_of(r, path)
  local entry = r:stat(path)
  return entry and entry.filetype == FILE and entry.size or nil
end

-- Start of the names of all that is kept for the file `target` of the account.
local function kept_name(r, account, target)
  local below = target:sub(#account + #"/Files/" + 1)
  return account .. "/kept/" .. r:md5(below), below
end

-- Where the request's file and what is kept for it lie; nil where no plain file can be.
local function places(r)
  local account, target = usage.account_folder(r), r.filename
  if not account or r.path_info ~= "" or target:find("%c") then return nil end
  local entry = r:stat(target)
  if entry and entry.filetype ~= FILE then return nil end
  local base, below = kept_name(r, account, target)
  return {
    target = target, below = below, folder = target:match("^(.*)/"), kept = account .. "/kept",
    base = base, record = base .. ".record", former = base .. ".former", part = base .. ".part",
  }
end

local function read_record(at)
  local file = io.open(at.record)
  if not file then return nil end
  local token, total, kind = file:read("l", "l", "l")
  file:close()
  return { token = token, total = tonumber(total), replaces = kind == REPLACES }
end

-- Makes the record, whole or not at all: nobody reads one half written, nor does a full disk leave
-- one. nil when it cannot be made.
local function write_record(r, at, total, replaces)
  local token = ("%d-%s"):format(r:clock(), (tostring({}):gsub("%W", "")))
  local path = at.base .. ".new-" .. token
  local file = io.open(path, "w")
  if not file then
    r:mkdir(at.kept)
    file = io.open(path, "w")
    if not file then return nil end
  end
  local lines = { token, ("%d"):format(total), replaces and REPLACES or NEW, at.below, "" }
  local written = file:write(table.concat(lines, "\n"))
  local closed = file:close()
  if written and closed and os.rename(path, at.record) then return token end
  os.remove(path)
  return nil
end

local function forget(at)
  os.remove(at.part)
  os.remove(at.former)
  os.remove(at.record)
end

-- Undoes an upload that a newer one overtakes, and forgets it. An upload that has all its bytes
-- only lacks its last step: its file stays. So does a former version that was not set aside yet.
local function overtake(r, at)
  local record = read_record(at)
  if record and not size_of(r, at.part) and size_of(r, at.target) ~= record.total then
    local is_back = os.rename(at.former, at.target)
    if not is_back and not record.replaces then os.remove(at.target) end
  end
  forget(at)
end

-- An empty file, so that mod_dav does not take the file for its own, to be removed on a failure.
local function make_empty(path)
  local file = io.open(path, "w")
  return file and file:close()
end

-- Makes this request the one that writes the file in place. `part` is what it continues, or nil.
local function take_over(r, at, total, part)
  local replaces = size_of(r, at.target) ~= nil
  local token = write_record(r, at, total, replaces)
  if not token then return false end
  local ready = not replaces or os.rename(at.target, at.former)
  if ready and part then ready = os.rename(part, at.target) end
  if ready and not part then ready = make_empty(at.target) end
  if not ready then
    os.rename(at.former, at.target)
    forget(at)
    return false
  end
  usage.set_growing(r, at.folder, true)
  r.notes["upload-token"] = token
  return true
end

local function begin_plain(r, at)
  overtake(r, at)
  local length = tonumber(r.headers_in["Content-Length"] or "")
  if length and length > PIECE and take_over(r, at, length, nil) then
    r.headers_in["Content-Range"] = ("bytes 0-%d/%d"):format(length - 1, length)
  end
  return apache2.DECLINED
end

-- Size of the part kept for this path, once the broken request has been noticed.
local function await_part(r, at)
  local deadline = r:clock() + BREAK_NOTICED_IN * 1000000
  while not size_of(r, at.part) and read_record(at) and r:clock() < deadline do
    r.usleep(20000)
  end
  local entry = r:stat(at.part)
  if not entry or r:clock() - entry.mtime > KEPT_FOR then return nil end
  return entry.size
end

local function continue_part(r, at, range)
  local first, last, total = range:match("^bytes%s+(%d+)%-(%d+)/(%d+)$")
  first, last, total = tonumber(first), tonumber(last), tonumber(total)
  local length = tonumber(r.headers_in["Content-Length"] or "")
  local is_rest = first and last == total - 1 and length == last - first + 1
  local size = is_rest and await_part(r, at)
  local record = size and read_record(at)
  if not record or record.total ~= total or first > size or size - first > PIECE + 1 then
    return 400
  end
  if not take_over(r, at, total, at.part) then return 400 end
  return apache2.DECLINED
end

-- The most frequent PUT costs one look: of one piece, with no record of another upload of its file.
local function is_mod_davs_alone(r)
  local headers = r.headers_in
  local length = tonumber(headers["Content-Length"] or "")
  if headers["Content-Range"] or not length or length > PIECE then return false end
  local account = usage.account_folder(r)
  return not account or not r:stat(kept_name(r, account, r.filename) .. ".record")
end

-- Fixups hook of PUT.
function begin(r)
  if is_mod_davs_alone(r) then return apache2.DECLINED end
  local at = places(r)
  local range = r.headers_in["Content-Range"]
  if not at then return range and 400 or apache2.DECLINED end
  if range then return continue_part(r, at, range) end
  return begin_plain(r, at)
end

local function drop_stale_parts(r, at)
  for _, name in ipairs(r:get_direntries(at.kept) or {}) do
    local path = at.kept .. "/" .. name
    local entry = name:find("%.part$") and r:stat(path)
    if entry and r:clock() - entry.mtime > KEPT_FOR then
      os.remove(path)
      os.remove((path:gsub("part$", "record")))
    end
  end
end

-- Sets the bytes that came aside and brings the former version back. Where the file is gone,
-- somebody removed it meanwhile, and so it stays.
local function keep_broken(r, at)
  local size = size_of(r, at.target)
  local worth = size and size > 0 and r.status ~= INSUFFICIENT_STORAGE
  local kept = worth and os.rename(at.target, at.part)
  if size then
    if not os.rename(at.former, at.target) and not kept then os.remove(at.target) end
  else
    os.remove(at.former)
  end
  if not kept then os.remove(at.record) end
  drop_stale_parts(r, at)
end

-- Log hook of PUT: the last word on a file that was written in place.
function finish(r)
  local token = r.notes["upload-token"]
  local at = token and places(r)
  if not at then return apache2.DECLINED end
  local record = read_record(at)
  if record and record.token == token then
    local done = (r.status == 201 or r.status == 204) and size_of(r, at.target) == record.total
    if done then forget(at) else keep_broken(r, at) end
  end
  usage.set_growing(r, at.folder, false)
  return apache2.DECLINED
end
