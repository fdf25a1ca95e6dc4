// A stand-in for the Messages API on 127.0.0.1 that answers like the real one: JSON with blanks after colons
// and commas, pings, thinking with a signature, tool input in pieces, and events split across writes. A
// marker in the request's last user text picks a failure: [[upstream 429]], [[upstream 500]], [[upstream drop]]
// or [[stream slow]] (a pause after the first event).
import http from "node:http";

export const signature = "EqQBCkYIBxgCKkDfake+signature/for+round+trip==";

// JSON as the API writes it, with blanks after ":" and ",".
export function padded(value) {
  if (Array.isArray(value)) return `[${value.map(padded).join(", ")}]`;
  if (value !== null && typeof value === "object") {
    return `{${Object.entries(value).map(([k, v]) => `${JSON.stringify(k)}: ${padded(v)}`).join(", ")}}`;
  }
  return JSON.stringify(value);
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

function lastUserText(body) {
  if (typeof body.messages?.at(-1)?.content === "string") return body.messages.at(-1).content;
  const user = body.messages?.findLast((m) => m.role === "user");
  return (user?.content ?? []).map((b) => b.text ?? b.content ?? "").join("\n");
}

function oneShotAnswer(prompt) {
  if (prompt.includes("texter archetype")) {
    return "The Midnight Marathoner\n\nYou keep the late-night threads alive. Replies come in long, warm bursts.";
  }
  return "{}";
}

// The events of one streamed turn. The first turn thinks and asks for a tool; once a tool result is back,
// the assistant turn must carry the thinking with its signature, or the real API refuses it.
function turnEvents(body) {
  const afterTool = body.messages.at(-1).content.some?.((b) => b.type === "tool_result");
  const thinking = [
    { type: "content_block_start", index: 0, content_block: { type: "thinking", thinking: "", signature: "" } },
    { type: "content_block_delta", index: 0, delta: { type: "thinking_delta", thinking: "Looking at " } },
    { type: "content_block_delta", index: 0, delta: { type: "thinking_delta", thinking: "the numbers." } },
    { type: "content_block_delta", index: 0, delta: { type: "signature_delta", signature } },
    { type: "content_block_stop", index: 0 },
  ];
  const text = (index, pieces) => [
    { type: "content_block_start", index, content_block: { type: "text", text: "" } },
    ...pieces.map((piece) => ({ type: "content_block_delta", index, delta: { type: "text_delta", text: piece } })),
    { type: "content_block_stop", index },
  ];
  const blocks = afterTool
    ? text(1, ["You text most ", "after ten at night", " — keep it up."])
    : [
        ...text(1, ["Let me count."]),
        { type: "content_block_start", index: 2, content_block: { type: "tool_use", id: "toolu_01", name: "count", input: {} } },
        ...['{"ter', 'ms": "din', 'ner"}'].map((partial_json) => ({
          type: "content_block_delta",
          index: 2,
          delta: { type: "input_json_delta", partial_json },
        })),
        { type: "content_block_stop", index: 2 },
      ];
  return [
    { type: "message_start", message: { id: "msg_01", type: "message", role: "assistant", content: [], model: body.model } },
    { type: "ping" },
    ...thinking,
    ...blocks,
    { type: "message_delta", delta: { stop_reason: afterTool ? "end_turn" : "tool_use" }, usage: { output_tokens: 42 } },
    { type: "message_stop" },
  ];
}

// Like the real API: while a tool call is being answered, the assistant turn that made it must open with
// its thinking, signature intact. Earlier turns may have dropped theirs.
function hasSignedThinking(body) {
  const [call, result] = body.messages.slice(-2);
  const answersTool = Array.isArray(result?.content) && result.content.some((b) => b.type === "tool_result");
  return !answersTool || (call.content[0]?.type === "thinking" && call.content[0].signature === signature);
}

const sse = (event) => `event: ${event.type}\ndata: ${padded(event)}\n\n`;

export async function startFakeUpstream() {
  const requests = [];
  const server = http.createServer(async (req, res) => {
    const chunks = [];
    for await (const chunk of req) chunks.push(chunk);
    const body = JSON.parse(Buffer.concat(chunks).toString("utf8"));
    requests.push({ headers: req.headers, body, path: req.url });
    const text = lastUserText(body);
    const status = /\[\[upstream (\d+)\]\]/.exec(text);
    if (status) {
      res.writeHead(Number(status[1]), { "content-type": "application/json" });
      return res.end(padded({ type: "error", error: { type: "rate_limit_error", message: `refused: ${text}` } }));
    }
    if (text.includes("[[upstream drop]]")) return req.socket.destroy();
    if (!body.stream) {
      res.writeHead(200, { "content-type": "application/json" });
      return res.end(padded({
        id: "msg_02", type: "message", role: "assistant", model: body.model, stop_reason: "end_turn",
        content: [{ type: "text", text: oneShotAnswer(text) }], usage: { input_tokens: 10, output_tokens: 20 },
      }));
    }
    if (!hasSignedThinking(body)) {
      res.writeHead(400, { "content-type": "application/json" });
      return res.end(padded({ type: "error", error: { type: "invalid_request_error", message: "thinking block missing" } }));
    }
    res.writeHead(200, { "content-type": "text/event-stream", "cache-control": "no-cache" });
    const events = turnEvents(body);
    for (const [i, event] of events.entries()) {
      const wire = sse(event);
      // Each event goes out in two writes, cut inside its data line.
      const cut = wire.indexOf("data: ") + 10;
      res.write(wire.slice(0, cut));
      await sleep(1);
      res.write(wire.slice(cut));
      if (i === 0 && text.includes("[[stream slow]]")) await sleep(1500);
    }
    res.end();
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  return {
    url: `http://127.0.0.1:${server.address().port}`,
    requests,
    close: () => new Promise((resolve) => { server.closeAllConnections(); server.close(resolve); }),
  };
}

// The exact bytes of a turn's stream, for comparing what came through the relay.
export function expectedStream(body) {
  return turnEvents(body).map(sse).join("");
}
