// What a request must be before anything of it goes upstream. Failures carry only a status and a fixed
// reason: nothing of the request itself.

export class Rejected extends Error {
  constructor(
    readonly status: number,
    readonly reason: string,
  ) {
    super(reason);
  }
}

// The largest bodies the app sends: a one-shot prompt is a few pages of statistics or messages, a chat
// carries the whole conversation with its tool results.
export const maxAIBodyBytes = 256 * 1024;
export const maxChatBodyBytes = 2 * 1024 * 1024;
export const maxTokensLimit = 32000;

const encoder = new TextEncoder();

async function digest(text: string): Promise<ArrayBuffer> {
  return crypto.subtle.digest("SHA-256", encoder.encode(text));
}

// Compares the digests, so that neither the time taken nor an early length check tells how much of the
// secret a guess got right.
export async function sameSecret(given: string | null, secret: string | undefined): Promise<boolean> {
  if (!secret || given === null) {
    return false;
  }
  const [a, b] = await Promise.all([digest(given), digest(secret)]);
  return crypto.subtle.timingSafeEqual(a, b);
}

const uuidPattern = /^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$/i;

// The device's identity, in one spelling whatever the case it came in, or nothing when it is no UUID.
export function deviceKey(header: string | null): string | null {
  return header !== null && uuidPattern.test(header) ? header.toLowerCase() : null;
}

// The body as text, stopping as soon as it grows past `limit` bytes whether or not a length was declared.
export async function readBody(request: Request, limit: number): Promise<string> {
  const declared = request.headers.get("content-length");
  if (declared !== null && Number(declared) > limit) {
    throw new Rejected(413, "body too large");
  }
  if (request.body === null) {
    throw new Rejected(400, "empty body");
  }
  const reader = request.body.getReader();
  const chunks: Uint8Array[] = [];
  let size = 0;
  for (;;) {
    const { done, value } = await reader.read();
    if (done) {
      break;
    }
    size += value.byteLength;
    if (size > limit) {
      await reader.cancel();
      throw new Rejected(413, "body too large");
    }
    chunks.push(value);
  }
  const bytes = new Uint8Array(size);
  let at = 0;
  for (const chunk of chunks) {
    bytes.set(chunk, at);
    at += chunk.byteLength;
  }
  try {
    return new TextDecoder("utf-8", { fatal: true, ignoreBOM: false }).decode(bytes);
  } catch {
    throw new Rejected(400, "body is not UTF-8");
  }
}

type JsonObject = Record<string, unknown>;

function isObject(value: unknown): value is JsonObject {
  return typeof value === "object" && value !== null && !Array.isArray(value);
}

function parseObject(text: string, keys: readonly string[]): JsonObject {
  let value: unknown;
  try {
    value = JSON.parse(text);
  } catch {
    throw new Rejected(400, "body is not JSON");
  }
  if (!isObject(value)) {
    throw new Rejected(400, "body is not an object");
  }
  const present = Object.keys(value);
  if (present.length !== keys.length || !keys.every((key) => key in value)) {
    throw new Rejected(400, `body must have exactly the keys ${keys.join(", ")}`);
  }
  return value;
}

function check(ok: boolean, reason: string): void {
  if (!ok) {
    throw new Rejected(400, reason);
  }
}

function checkMaxTokens(value: unknown): void {
  check(Number.isInteger(value) && (value as number) >= 1 && (value as number) <= maxTokensLimit, "bad max_tokens");
}

export interface AIRequest {
  prompt: string;
  max_tokens: number;
}

export function parseAIRequest(text: string): AIRequest {
  const body = parseObject(text, ["prompt", "max_tokens"]);
  check(typeof body.prompt === "string" && body.prompt.length > 0, "bad prompt");
  checkMaxTokens(body.max_tokens);
  return body as unknown as AIRequest;
}

const chatKeys = ["system", "messages", "tools", "max_tokens", "thinking", "stream"] as const;

function isBlockList(value: unknown): boolean {
  return Array.isArray(value) && value.every((block) => isObject(block) && typeof block.type === "string");
}

// The chat body goes upstream as it came, with the model added, so only its shape is checked here; what the
// blocks hold is the Messages API's to judge.
export function parseChatRequest(text: string): JsonObject {
  const body = parseObject(text, chatKeys);
  check(
    Array.isArray(body.system) &&
      body.system.every((part) => isObject(part) && part.type === "text" && typeof part.text === "string"),
    "bad system",
  );
  check(
    Array.isArray(body.messages) &&
      body.messages.length > 0 &&
      body.messages.every(
        (message) =>
          isObject(message) &&
          (message.role === "user" || message.role === "assistant") &&
          isBlockList(message.content),
      ),
    "bad messages",
  );
  check(
    Array.isArray(body.tools) &&
      body.tools.every(
        (tool) =>
          isObject(tool) &&
          typeof tool.name === "string" &&
          typeof tool.description === "string" &&
          isObject(tool.input_schema),
      ),
    "bad tools",
  );
  checkMaxTokens(body.max_tokens);
  check(isObject(body.thinking) && typeof body.thinking.type === "string", "bad thinking");
  check(body.stream === true, "stream must be true");
  return body;
}
