// Times `murmora-cli mcp` as a client meets it: from the start of the process to the answer of the first
// tools/call (a search sent right after initialize, so it waits for the threads to be read), then later
// searches one at a time. Prints one summary line. A first, untimed `learn` leaves the profile a user has;
// the data folder and the temporary folder are private and removed at the end.
//   node bench/mcp-bench.mjs MURMORA-CLI HOME [--repeat N]
import { spawn, spawnSync } from "node:child_process";
import { createInterface } from "node:readline";
import { mkdirSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

const [cli, home, flag, count] = process.argv.slice(2);
const repeat = flag === "--repeat" ? Math.max(1, Number(count)) : 20;
const terms = ["dinner|drinks|grab food|hang", "love you", "sorry", "birthday|bday", "lol|haha", "work|boss"];

const scratch = mkdtempSync(join(tmpdir(), "murmora-mcp-bench-"));
mkdirSync(join(scratch, "tmp"));
const env = { ...process.env, HOME: home, XDG_DATA_HOME: join(scratch, "data"), TMPDIR: join(scratch, "tmp") };
const learned = spawnSync(cli, ["learn"], { env, stdio: ["ignore", "ignore", "inherit"] });
if (learned.status !== 0) {
  console.error(`murmora-cli learn failed (${learned.status})`);
  process.exit(1);
}

const started = performance.now();
const server = spawn(cli, ["mcp"], { env, stdio: ["pipe", "pipe", "inherit"] });
const waiting = new Map();
createInterface({ input: server.stdout }).on("line", (line) => {
  const message = JSON.parse(line);
  waiting.get(message.id)?.(message);
  waiting.delete(message.id);
});
server.on("exit", (code) => {
  if (waiting.size > 0) {
    console.error(`murmora-cli mcp ended (${code}) with ${waiting.size} calls unanswered`);
    process.exit(1);
  }
});
let next = 0;
const request = (method, params) =>
  new Promise((resolve) => {
    const id = ++next;
    waiting.set(id, resolve);
    server.stdin.write(JSON.stringify({ jsonrpc: "2.0", id, method, params }) + "\n");
  });
const search = (i) =>
  request("tools/call", { name: "search", arguments: { terms: terms[i % terms.length], limit: 40 } });

await request("initialize", { protocolVersion: "2025-06-18", capabilities: {}, clientInfo: { name: "bench", version: "1" } });
const initializedMs = performance.now() - started;
server.stdin.write(JSON.stringify({ jsonrpc: "2.0", method: "notifications/initialized" }) + "\n");
const first = await search(0);
const firstMs = performance.now() - started;
if (first.result?.isError !== false) {
  console.error(JSON.stringify(first));
  process.exit(1);
}
const times = [];
for (let i = 1; i <= repeat; ++i) {
  const before = performance.now();
  await search(i);
  times.push(performance.now() - before);
}
server.stdin.end();
await new Promise((resolve) => server.on("close", resolve));
rmSync(scratch, { recursive: true, force: true });
times.sort((a, b) => a - b);
const median = times[Math.floor(times.length / 2)];
console.log(
  `mcp first-call ${firstMs.toFixed(0)} ms from start (goal 3000; initialize ${initializedMs.toFixed(0)} ms), ` +
    `later search median ${median.toFixed(0)} ms, max ${times[times.length - 1].toFixed(0)} ms over ${repeat} (goal 200)`,
);
