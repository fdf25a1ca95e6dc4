// Load test on loopback, run by hand (npm run bench). DEVICES devices call /v1/chat for SECONDS, each
// waiting PAUSE ms between its calls (0: back to back), through the relay with the fake Messages API behind
// it in a process of its own. The Worker is bundled as `wrangler deploy` bundles it and runs in one workerd
// process, without the proxy that `wrangler dev` puts in front. The run compares the time to the first
// event byte through the relay with the fake called directly by as many devices, then checks that every
// device gets exactly CAP answers, that every call is answered (200 or 429, nothing lost), and that the
// upstream saw exactly the answered calls. The objects' storage is kept on /dev/shm where there is one: a
// local disk syncing each new object's database would be measured instead of the relay.
//   node bench/load.mjs [DEVICES=500] [SECONDS=30] [CAP=20] [PAUSE=1000]
import { fork, spawnSync } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import http from "node:http";
import os from "node:os";
import path from "node:path";
import { Miniflare } from "miniflare";
import { chatBody, headers, relayDir, secret } from "../test/relay.mjs";

const [devices, seconds, cap, pause] = [500, 30, 20, 1000].map((d, i) => Number(process.argv[2 + i] ?? d));
const agent = new http.Agent({ keepAlive: true, maxSockets: devices });

// One POST; resolves with the status, the time to the first body byte and to the end, in ms.
function call(url, head, body, retry = false) {
  return new Promise((resolve) => {
    const started = process.hrtime.bigint();
    const ms = () => Number(process.hrtime.bigint() - started) / 1e6;
    const request = http.request(url, { method: "POST", headers: head, agent }, (response) => {
      let first;
      response.on("data", () => (first ??= ms()));
      response.on("end", () => resolve({ status: response.statusCode, first, total: ms() }));
      response.on("error", (error) => resolve({ status: error.code ?? "error" }));
    });
    request.on("error", (error) => {
      // A kept-alive connection that the server closed just as it was reused: the call never reached it,
      // and is sent again once on a new connection, as HTTP clients do.
      if (request.reusedSocket && error.code === "ECONNRESET" && !retry) {
        resets += 1;
        resolve(call(url, head, body, true));
      } else {
        resolve({ status: error.code ?? "error" });
      }
    });
    request.end(body);
  });
}
let resets = 0;

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

const percentile = (values, p) => {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor((p / 100) * sorted.length))];
};

// Every device sends calls back to back until the time is up; returns each device's outcomes.
async function run(url, durationMs, headersOf) {
  const until = Date.now() + durationMs;
  const body = JSON.stringify(chatBody("How was my week?"));
  return Promise.all(
    Array.from({ length: devices }, async (_, d) => {
      const outcomes = [];
      // Spread the first calls over one pause, as devices do not start in step.
      await sleep(Math.random() * pause);
      while (Date.now() < until) {
        outcomes.push(await call(url, headersOf(d), body));
        await sleep(pause);
      }
      return outcomes;
    }),
  );
}

const fake = fork(new URL("upstream.mjs", import.meta.url).pathname, [], { cwd: relayDir });
const upstream = await new Promise((resolve) => fake.once("message", (m) => resolve(m.url)));
const upstreamCount = () =>
  new Promise((resolve) => {
    fake.once("message", (m) => resolve(m.count));
    fake.send("count");
  });
async function startBundled(cap) {
  const out = mkdtempSync(path.join(os.tmpdir(), "murmora-relay-bundle-"));
  const persist = mkdtempSync(path.join(existsSync("/dev/shm") ? "/dev/shm" : os.tmpdir(), "murmora-relay-state-"));
  const built = spawnSync(path.join(relayDir, "node_modules/.bin/wrangler"), ["deploy", "--dry-run", "--outdir", out], {
    cwd: relayDir, encoding: "utf8", env: { ...process.env, WRANGLER_SEND_METRICS: "false" },
  });
  if (built.status !== 0) throw new Error(built.stderr);
  const contents = readFileSync(path.join(out, "index.js"), "utf8");
  rmSync(out, { recursive: true, force: true });
  const compatibilityDate = /^compatibility_date = "(.*)"$/m.exec(readFileSync(path.join(relayDir, "wrangler.toml"), "utf8"))[1];
  const mf = new Miniflare({
    modules: [{ type: "ESModule", path: "index.js", contents }],
    compatibilityDate,
    host: "127.0.0.1",
    port: 0,
    cf: false,
    durableObjects: { DEVICE_DAY: { className: "DeviceDay", useSQLite: true } },
    defaultPersistRoot: persist,
    durableObjectsPersist: persist,
    bindings: { APP_SECRET: secret, ANTHROPIC_API_KEY: "sk-test", MODEL: "m", DAILY_CAP: String(cap), UPSTREAM_URL: upstream },
    // The Worker still writes its line per request; here it is read and dropped.
    handleRuntimeStdio: (stdout, stderr) => { stdout.resume(); stderr.resume(); },
  });
  return {
    url: (await mf.ready).toString().replace(/\/$/, ""),
    async stop() {
      await mf.dispose();
      rmSync(persist, { recursive: true, force: true });
    },
  };
}

const firstBytes = (outcomes) => outcomes.flat().filter((r) => r.status === 200).map((r) => r.first);
const figures = (values) => ({ calls: values.length, p50: percentile(values, 50), p99: percentile(values, 99) });
const deviceHeaders = () => {
  const ids = Array.from({ length: devices }, () => crypto.randomUUID().toUpperCase());
  return (d) => headers(ids[d]);
};
let relay;
try {
  // Added latency: the same load on the fake directly and through a relay whose cap is never reached.
  const latencyMs = Math.min(10, seconds) * 1000;
  const direct = figures(firstBytes(await run(`${upstream}/v1/messages`, latencyMs, () => ({ "content-type": "application/json" }))));
  relay = await startBundled(1e9);
  const through = figures(firstBytes(await run(`${relay.url}/v1/chat`, latencyMs, deviceHeaders())));
  await relay.stop();

  // The cap: every device keeps calling well past it.
  relay = await startBundled(cap);
  const before = await upstreamCount();
  const perDevice = await run(`${relay.url}/v1/chat`, seconds * 1000, deviceHeaders());
  const upstreamCalls = (await upstreamCount()) - before;
  const answered = perDevice.map((o) => o.filter((r) => r.status === 200).length);
  const all = perDevice.flat();
  const lostAs = {};
  for (const r of all) if (r.status !== 200 && r.status !== 429) lostAs[r.status] = (lostAs[r.status] ?? 0) + 1;
  const lost = Object.values(lostAs).reduce((a, b) => a + b, 0);
  const report = {
    devices, seconds, cap, pause,
    calls: all.length,
    answered: answered.reduce((a, b) => a + b, 0),
    capped: all.filter((r) => r.status === 429).length,
    lost,
    ...(lost ? { lostAs } : {}),
    resentAfterReset: resets,
    upstreamCalls,
    devicesOverCap: answered.filter((n) => n > cap).length,
    devicesUnderCap: answered.filter((n) => n < cap).length,
    firstByteMs: { direct, relay: through, added: { p50: through.p50 - direct.p50, p99: through.p99 - direct.p99 } },
  };
  console.log(JSON.stringify(report, (k, v) => (typeof v === "number" ? Math.round(v * 10) / 10 : v), 2));
  const ok = report.devicesOverCap === 0 && report.devicesUnderCap === 0 && lost === 0 && upstreamCalls === report.answered;
  console.log(ok ? "cap exact, nothing lost" : "FAILED");
  process.exitCode = ok ? 0 : 1;
} finally {
  await relay?.stop();
  fake.kill();
  agent.destroy();
}
