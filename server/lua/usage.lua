-- Quota and used space of an account, in whole mebibytes.
--
-- The used space is the sum of the sizes of all files. Every folder's own sum is remembered
-- together with the folder's change time, in the memory shared by all Lua states of the one child
-- process, so that a listing costs one look at each folder, not at each file.

local usage = {}

local MEBIBYTE = 1048576
local DEFAULT_QUOTA = 10240
local FOLDER, FILE = 2, 1  -- httpd's file types
local SETTLED = 50000      -- microseconds; file times are coarser than the clock

-- The account's folder on disk, or nil when the request is for no account.
function usage.account_folder(r)
  local name = r.uri:match("^/users/([^/]+)/Files")
  return name and r.document_root .. "/users/" .. name
end

-- Tells that a file in `folder` grows in place (true) or is done (false): the folder's change time
-- says nothing about that.
function usage.set_growing(r, folder, growing)
  r:ivm_set("sum:" .. folder, "")
  r:ivm_set("grows:" .. folder, growing)
end

local function is_counted(name)
  return name ~= "." and name ~= ".." and name ~= ".DAV" and name:sub(1, 10) ~= ".davfs.tmp"
end

local function scan(r, folder)
  local bytes, folders = 0, {}
  for _, name in ipairs(r:get_direntries(folder) or {}) do
    local entry = is_counted(name) and r:stat(folder .. "/" .. name)
    if entry and entry.filetype == FILE then
      bytes = bytes + entry.size
    elseif entry and entry.filetype == FOLDER then
      folders[#folders + 1] = name .. "/"
    end
  end
  return bytes, table.concat(folders)
end

-- Bytes of the files right in `folder`, and the names of its folders, each followed by a slash.
local function folder_sum(r, folder)
  local entry = r:stat(folder)
  if not entry then return 0, "" end
  local stamp = ("%d"):format(entry.mtime)
  local known = r:ivm_get("sum:" .. folder)
  if known and not r:ivm_get("grows:" .. folder) then
    local of, bytes, folders = known:match("^(%d+) (%d+) (.*)$")
    if of == stamp then return tonumber(bytes), folders end
  end
  local asked = r:clock()
  local bytes, folders = scan(r, folder)
  if asked - entry.mtime > SETTLED then
    r:ivm_set("sum:" .. folder, ("%s %d %s"):format(stamp, bytes, folders))
  end
  return bytes, folders
end

local function tree_sum(r, folder)
  local total, folders = folder_sum(r, folder)
  for name in folders:gmatch("([^/]+)/") do
    total = total + tree_sum(r, folder .. "/" .. name)
  end
  return total
end

function usage.quota_and_used(r)
  local account = usage.account_folder(r)
  local quota = DEFAULT_QUOTA
  local file = io.open(account .. "/quota")
  if file then
    quota = tonumber(file:read("l") or "") or quota
    file:close()
  end
  return quota, tree_sum(r, account .. "/Files") // MEBIBYTE
end

return usage
