-- The requests of bench/routes, and the check of every answer:
--
--   wrk -t 1 -s bench/routes.lua ADDRESS -- REQUESTS SESSION COUNTER SMALLEST LARGEST
--
-- REQUESTS is a file of lines: method, path, body, and a text that a correct answer contains, with tabs between them.
-- They are sent in turn; @E in them becomes the id of an evidence, 21 k + 1 with a random k from SMALLEST to LARGEST,
-- @L the id of one that no request had before, 21 k + 2, @G twelve digits that no request had before, and @S a status
-- that changes after each turn. The file COUNTER has the number of requests so far, including earlier runs. Prints,
-- with tabs between them: answers, those that were wrong, requests a second, median and 99th percentile in
-- milliseconds, socket errors, and the first wrong answer.

local requests, smallest, largest, right_start = {}, 1, 1, '{"ResponseStatus":{"ErrorModule":0,"ErrorCode":0'
local held = {}
local the_thread
-- Global, so that done() can ask the thread for them.
sent, answered, wrong, first_wrong, counter_file = 0, 0, 0, "", ""

function setup(thread) the_thread = thread end

function init(args)
  for line in io.lines(args[1]) do
    local method, path, body, part = line:match("^(.-)\t(.-)\t(.-)\t(.*)$")
    requests[#requests + 1] = { method = method, path = path, body = body }
    held[part] = true
  end
  wrk.headers["Content-Type"] = "application/json"
  wrk.headers["Authorization"] = "Bearer " .. args[2]
  counter_file, smallest, largest = args[3], tonumber(args[4]), tonumber(args[5])
  local file = io.open(counter_file)
  if file then
    sent = file:read("*n")
    file:close()
  end
  math.randomseed(sent + 1)
end

function request()
  local one = requests[sent % #requests + 1]
  local values = {
    E = 21 * math.random(smallest, largest) + 1,
    L = 21 * (sent + 1) + 2,
    G = string.format("2%011d", sent),
    S = math.floor(sent / #requests) % 2,
  }
  sent = sent + 1
  return wrk.format(one.method, one.path:gsub("@(%u)", values), nil, (one.body:gsub("@(%u)", values)))
end

function response(status, _, body)
  answered = answered + 1
  local right = status == 200 and body:sub(1, #right_start) == right_start
  for part in pairs(held) do right = right and body:find(part, 1, true) end
  if not right then
    wrong = wrong + 1
    if wrong == 1 then first_wrong = status .. " " .. body:sub(1, 300) end
  end
end

function done(summary, latency)
  local errors = summary.errors
  local file = assert(io.open(the_thread:get("counter_file"), "w"))
  file:write(string.format("%d", the_thread:get("sent")))
  file:close()
  print(string.format("figures\t%d\t%d\t%.1f\t%.1f\t%.1f\t%d\t%s", the_thread:get("answered"), the_thread:get("wrong"),
    summary.requests / summary.duration * 1e6, latency:percentile(50) / 1e3, latency:percentile(99) / 1e3,
    errors.connect + errors.read + errors.write + errors.timeout, the_thread:get("first_wrong")))
end
