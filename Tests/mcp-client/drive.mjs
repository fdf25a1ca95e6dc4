// Drives `murmora-cli mcp` with the official MCP client over stdio: lists the tools, sends every call of the
// given file at once (so that they run concurrently), and prints what came back as one JSON object.
//   node drive.mjs MURMORA-CLI CALLS.json
import { readFileSync } from "node:fs";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const [cli, callsFile] = process.argv.slice(2);
const calls = JSON.parse(readFileSync(callsFile, "utf8"));

const transport = new StdioClientTransport({ command: cli, args: ["mcp"], env: process.env, stderr: "inherit" });
const client = new Client({ name: "murmora-test", version: "1.0.0" });
await client.connect(transport);

const outcome = (promise) =>
  promise.then(
    (result) => ({ result }),
    (error) => ({ error: { code: error.code, message: error.message } }),
  );

const report = {
  server: client.getServerVersion(),
  tools: (await client.listTools()).tools,
  calls: await Promise.all(calls.map((call) => outcome(client.callTool(call)))),
};
await client.close();
process.stdout.write(JSON.stringify(report));
