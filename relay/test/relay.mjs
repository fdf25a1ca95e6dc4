// Runs the Worker in the local Workers runtime (wrangler dev, which runs workerd) and keeps what it logs.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

export const relayDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "..");
export const secret = "test-secret-0123456789";

async function freePort() {
  const server = net.createServer().listen(0, "127.0.0.1");
  await new Promise((resolve) => server.once("listening", resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

export async function startRelay({ upstream, cap }) {
  const [port, inspector] = [await freePort(), await freePort()];
  const state = mkdtempSync(path.join(os.tmpdir(), "murmora-relay-"));
  const vars = { APP_SECRET: secret, ANTHROPIC_API_KEY: "sk-test", UPSTREAM_URL: upstream, DAILY_CAP: String(cap) };
  const args = ["dev", "--ip", "127.0.0.1", "--port", port, "--inspector-port", inspector, "--persist-to", state,
    ...Object.entries(vars).flatMap(([k, v]) => ["--var", `${k}:${v}`])];
  // No look-up of the `Request.cf` placeholder online: nothing goes beyond 127.0.0.1.
  const env = { ...process.env, WRANGLER_SEND_METRICS: "false", CLOUDFLARE_CF_FETCH_ENABLED: "false", CI: "1" };
  const child = spawn(path.join(relayDir, "node_modules/.bin/wrangler"), args.map(String), { cwd: relayDir, env, detached: true });
  // wrangler starts workerd; the whole group goes when the tests end, however they end.
  const killGroup = () => {
    try {
      process.kill(-child.pid, "SIGTERM");
    } catch {}
  };
  process.once("exit", killGroup);
  let log = "";
  child.stdout.on("data", (d) => (log += d));
  child.stderr.on("data", (d) => (log += d));
  for (const deadline = Date.now() + 60_000; !log.includes("Ready on"); ) {
    if (child.exitCode !== null || Date.now() > deadline) {
      killGroup();
      throw new Error(`wrangler dev did not start:\n${log}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  return {
    url: `http://127.0.0.1:${port}`,
    log: () => log,
    async stop() {
      killGroup();
      await new Promise((resolve) => (child.exitCode !== null ? resolve() : child.once("exit", resolve)));
      rmSync(state, { recursive: true, force: true });
    },
  };
}

export function headers(device = crypto.randomUUID().toUpperCase(), app = secret) {
  return { "content-type": "application/json", "x-murmora-app": app, "x-murmora-device": device };
}

export function chatBody(text) {
  return {
    system: [{ type: "text", text: "You are a coach.", cache_control: { type: "ephemeral" } }],
    messages: [{ role: "user", content: [{ type: "text", text }] }],
    tools: [{ name: "count", description: "Counts messages.", input_schema: { type: "object" } }],
    max_tokens: 32000, // the most the relay lets through
    thinking: { type: "adaptive" },
    stream: true,
  };
}
