import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { expectedStream, startFakeUpstream } from "./fake-upstream.mjs";
import { chatBody, headers, startRelay } from "./relay.mjs";

const cap = 3;
let fake, relay;
before(async () => {
  fake = await startFakeUpstream();
  relay = await startRelay({ upstream: fake.url, cap });
});
after(async () => {
  await relay?.stop();
  await fake?.close();
});

const post = (route, body, head = headers()) =>
  fetch(relay.url + route, { method: "POST", headers: head, body: typeof body === "string" ? body : JSON.stringify(body) });
const ai = (prompt, head) => post("/v1/ai", { prompt, max_tokens: 300 }, head);

test("refuses malformed calls before anything goes upstream", async () => {
  const good = chatBody("hi");
  const { stream, ...noStream } = good;
  const cases = [
    ["GET", "/v1/ai", headers(), undefined, 405],
    ["OPTIONS", "/v1/chat", { ...headers(), origin: "https://evil.example", "access-control-request-method": "POST" }, undefined, 405],
    ["POST", "/v1/other", headers(), "{}", 404],
    ["POST", "/v1/ai", { "x-murmora-device": crypto.randomUUID() }, '{"prompt":"x","max_tokens":1}', 401],
    ["POST", "/v1/ai", headers(undefined, "test-secret-0123456780"), '{"prompt":"x","max_tokens":1}', 401],
    ["POST", "/v1/ai", headers("not-a-uuid"), '{"prompt":"x","max_tokens":1}', 400],
    ["POST", "/v1/ai", headers(), "x".repeat(256 * 1024), 400],
    ["POST", "/v1/ai", headers(), "x".repeat(256 * 1024 + 1), 413],
    ["POST", "/v1/chat", headers(), JSON.stringify(chatBody("y".repeat(2 * 1024 * 1024))), 413],
    ["POST", "/v1/ai", headers(), "{not json", 400],
    ["POST", "/v1/ai", headers(), '{"prompt":"x"}', 400],
    ["POST", "/v1/ai", headers(), '{"prompt":"x","max_tokens":300,"model":"claude-opus"}', 400],
    ["POST", "/v1/chat", headers(), JSON.stringify(noStream), 400],
    ["POST", "/v1/chat", headers(), JSON.stringify({ ...good, stream: false }), 400],
    ["POST", "/v1/chat", headers(), JSON.stringify({ ...good, messages: [{ role: "system", content: [] }] }), 400],
    ["POST", "/v1/chat", headers(), JSON.stringify({ ...good, tools: [{ name: "count" }] }), 400],
    ["POST", "/v1/chat", headers(), JSON.stringify({ ...good, max_tokens: 32001 }), 400],
  ];
  const before = fake.requests.length;
  for (const [method, route, head, body, status] of cases) {
    const response = await fetch(relay.url + route, { method, headers: head, body });
    assert.equal(response.status, status, `${method} ${route} ${String(body).slice(0, 60)}`);
    assert.equal([...response.headers.keys()].filter((k) => k.startsWith("access-control")).length, 0);
  }
  assert.equal(fake.requests.length, before);
});

test("a one-shot call goes upstream with the model and key, and answers its text", async () => {
  const response = await ai("Name my texter archetype.");
  assert.equal(response.status, 200);
  assert.deepEqual(await response.json(), {
    text: "The Midnight Marathoner\n\nYou keep the late-night threads alive. Replies come in long, warm bursts.",
  });
  const seen = fake.requests.at(-1);
  assert.equal(seen.path, "/v1/messages");
  assert.equal(seen.headers["x-api-key"], "sk-test");
  assert.equal(seen.headers["anthropic-version"], "2023-06-01");
  assert.equal(seen.headers["x-murmora-app"], undefined);
  assert.equal(seen.headers["x-murmora-device"], undefined);
  assert.deepEqual(seen.body, {
    model: "claude-sonnet-4-5",
    max_tokens: 300,
    messages: [{ role: "user", content: "Name my texter archetype." }],
  });
});

test("a chat streams the model's events through byte for byte, as they come", async () => {
  const sent = chatBody("hi [[stream slow]]");
  const started = Date.now();
  const response = await post("/v1/chat", sent);
  assert.equal(response.status, 200);
  assert.match(response.headers.get("content-type"), /^text\/event-stream/);
  let firstAt, text = "";
  for await (const chunk of response.body) {
    firstAt ??= Date.now() - started;
    text += Buffer.from(chunk).toString("utf8");
  }
  const seen = fake.requests.at(-1).body;
  assert.deepEqual(seen, { ...sent, model: "claude-sonnet-4-5" });
  assert.equal(text, expectedStream(seen));
  // The upstream pauses 1.5 s after its first event; a buffering relay would hold that event back.
  assert.ok(firstAt < 1000, `first bytes after ${firstAt} ms`);
});

test("upstream failures are 502, never the cap, and give the device's call back", async () => {
  const device = crypto.randomUUID().toUpperCase();
  const failures = [
    () => ai("[[upstream 429]]", headers(device)),
    () => ai("[[upstream drop]]", headers(device)),
    () => post("/v1/chat", chatBody("[[upstream 429]]"), headers(device)),
  ];
  for (const call of failures) {
    const response = await call();
    assert.equal(response.status, 502);
    assert.deepEqual(await response.json(), { error: "upstream_failed" });
  }
  for (let i = 0; i < cap; ++i) assert.equal((await ai("again", headers(device))).status, 200);
  assert.equal((await ai("one more", headers(device))).status, 429);
});

test("the daily cap holds exactly under concurrent calls, per device in any spelling", async () => {
  const device = crypto.randomUUID().toUpperCase();
  const calls = Array.from({ length: 12 }, (_, i) =>
    i % 2 ? ai("hello", headers(device)) : post("/v1/chat", chatBody("hello"), headers(device.toLowerCase())),
  );
  const responses = await Promise.all(calls);
  const statuses = responses.map((r) => r.status).sort();
  assert.deepEqual(statuses, [...Array(cap).fill(200), ...Array(12 - cap).fill(429)]);
  const refused = responses.find((r) => r.status === 429);
  assert.equal((await refused.json()).error, "daily_cap");
  const untilMidnight = (new Date().setUTCHours(24, 0, 0, 0) - Date.now()) / 1000;
  assert.ok(Math.abs(refused.headers.get("retry-after") - untilMidnight) < 30, refused.headers.get("retry-after"));
  await Promise.all(responses.filter((r) => r !== refused).map((r) => r.text()));
  assert.equal((await ai("hello")).status, 200, "another device is not capped");
});

test("nothing of a request's text reaches the log", async () => {
  const marker = "MARKER-7f3a9c-do-not-log";
  await (await ai(`tell me ${marker}`)).text();
  await (await ai(`${marker} [[upstream 500]]`)).text();
  await (await post("/v1/chat", chatBody(marker))).text();
  await (await post("/v1/ai", `{"prompt":"${marker}",`)).text();
  await (await post("/v1/ai", { prompt: marker, max_tokens: 300 }, headers(marker))).text();
  await new Promise((resolve) => setTimeout(resolve, 200));
  const log = relay.log();
  assert.match(log, /\{"route":"\/v1\/ai","status":502,"ms":\d+,"upstreamStatus":500\}/);
  assert.match(log, /\{"route":"\/v1\/chat","status":200,"ms":\d+\}/);
  assert.ok(!log.includes(marker));
});
