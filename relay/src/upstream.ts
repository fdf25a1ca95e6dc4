import type { Env } from "./env";

// Any failure of the model's side. Its text is never shown or logged: the app only needs to know that the
// call failed, and an upstream error message may quote the request.
export class UpstreamFailed extends Error {
  constructor(readonly upstreamStatus: number) {
    super("upstream failed");
  }
}

const apiVersion = "2023-06-01";
// Below the app's own limit of three minutes, so that the device's call is given back before it gives up.
const oneShotTimeoutMs = 170_000;

async function callMessages(env: Env, body: Record<string, unknown>, signal?: AbortSignal): Promise<Response> {
  const base = env.UPSTREAM_URL.replace(/\/+$/, "");
  let response: Response;
  try {
    response = await fetch(`${base}/v1/messages`, {
      method: "POST",
      headers: {
        "content-type": "application/json",
        "x-api-key": env.ANTHROPIC_API_KEY,
        "anthropic-version": apiVersion,
      },
      body: JSON.stringify({ ...body, model: env.MODEL }),
      signal,
    });
  } catch {
    throw new UpstreamFailed(0);
  }
  if (response.status !== 200) {
    // Read to the end so the connection can be reused; what it says is dropped.
    await response.body?.cancel();
    throw new UpstreamFailed(response.status);
  }
  return response;
}

// One prompt, one answer: the text blocks of the reply joined.
export async function complete(env: Env, prompt: string, maxTokens: number): Promise<string> {
  const response = await callMessages(
    env,
    { max_tokens: maxTokens, messages: [{ role: "user", content: prompt }] },
    AbortSignal.timeout(oneShotTimeoutMs),
  );
  let answer: unknown;
  try {
    answer = await response.json();
  } catch {
    throw new UpstreamFailed(200);
  }
  const content = (answer as { content?: unknown }).content;
  if (!Array.isArray(content)) {
    throw new UpstreamFailed(200);
  }
  const texts = content
    .filter((block) => block?.type === "text" && typeof block.text === "string")
    .map((block) => block.text as string);
  if (texts.length === 0) {
    throw new UpstreamFailed(200);
  }
  return texts.join("");
}

// The model's event stream for a chat body, as the upstream sends it.
export async function stream(env: Env, body: Record<string, unknown>): Promise<ReadableStream<Uint8Array>> {
  const response = await callMessages(env, body);
  if (response.body === null) {
    throw new UpstreamFailed(200);
  }
  return response.body;
}
