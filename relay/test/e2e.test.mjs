// The real murmora-cli against the Worker, with the fake Messages API behind it: the archetype one-shot of a
// learn run, a coach turn with a tool call in the middle, and the daily cap.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { startFakeUpstream } from "./fake-upstream.mjs";
import { relayDir, secret, startRelay } from "./relay.mjs";

// scripts/murmora names the build it made; by hand, the first build folder that has murmora-cli.
const root = path.resolve(relayDir, "..");
const build = process.env.MURMORA_BUILD
  ? path.resolve(root, process.env.MURMORA_BUILD)
  : ["build/asan", "build/dev"].map((b) => path.join(root, b)).find((b) => existsSync(path.join(b, "Sources/murmora-cli/murmora-cli")));
const cli = build && path.join(build, "Sources/murmora-cli/murmora-cli");
const demoHome = build && path.join(build, "tools/demo-home/demo-home");
const skip = build ? false : "no murmora-cli built (build/asan or build/dev)";

const cap = 5;
const capMessage = "You've hit today's free-tier limit — it resets tomorrow.";
let fake, relay, home;
before(async () => {
  if (skip) return;
  fake = await startFakeUpstream();
  relay = await startRelay({ upstream: fake.url, cap });
  home = mkdtempSync(path.join(os.tmpdir(), "murmora-e2e-"));
  const made = await run(demoHome, ["--out", home]);
  assert.equal(made.status, 0, made.stderr);
});
after(async () => {
  await relay?.stop();
  await fake?.close();
  if (home) rmSync(home, { recursive: true, force: true });
});

// Not spawnSync: the fake upstream answers from this process's event loop.
function run(program, args, options = {}) {
  return new Promise((resolve) => {
    const child = spawn(program, args, { ...options, timeout: 300_000 });
    let stdout = "", stderr = "";
    child.stdout.on("data", (d) => (stdout += d));
    child.stderr.on("data", (d) => (stderr += d));
    child.on("error", (error) => resolve({ status: null, stdout, stderr: String(error) }));
    child.on("close", (status) => resolve({ status, stdout, stderr }));
  });
}

function murmora(...args) {
  const env = { ...process.env, HOME: home, QT_QPA_PLATFORM: "offscreen", MURMORA_RELAY_URL: relay.url,
    MURMORA_RELAY_SECRET: secret, MURMORA_VERSION_HOST: "", MURMORA_CLAUDE_PATHS: path.join(home, "no-claude") };
  for (const name of ["XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"]) delete env[name];
  return run(cli, args, { env });
}

test("murmora-cli learns, coaches and hits the cap through the relay", { skip }, async () => {
  const learned = await murmora("learn");
  assert.equal(learned.status, 0, learned.stderr);
  assert.ok(fake.requests.some((r) => !r.body.stream && r.body.messages[0].content.includes("texter archetype")));
  const recap = /^Recap: (.*)$/m.exec(learned.stdout)[1];
  assert.match(readFileSync(recap, "utf8"), /The Midnight Marathoner/);

  // The first round asks for a tool; the second is refused upstream unless the thinking went back signed.
  const coached = await murmora("coach", "Who do I have dinner with?");
  assert.equal(coached.status, 0, coached.stderr);
  assert.match(coached.stdout, /You text most after ten at night — keep it up\./);
  assert.ok(fake.requests.some((r) => r.body.messages.at(-1).content.some?.((b) => b.type === "tool_result")));

  let last;
  for (let run = 0; run < cap && (last = await murmora("coach", "And lunch?")).status === 0; ++run);
  assert.equal(last.status, 3, last.stderr);
  assert.ok(last.stderr.includes(capMessage), last.stderr);
  assert.equal(fake.requests.length, cap, "answered calls of the device");
});
