import { secondsToNextDay, utcDay } from "./cap";
import {
  maxAIBodyBytes,
  maxChatBodyBytes,
  parseAIRequest,
  parseChatRequest,
  readBody,
  Rejected,
  deviceKey,
  sameSecret,
} from "./checks";
import type { Env } from "./env";
import { complete, stream, UpstreamFailed } from "./upstream";

export { DeviceDay } from "./cap";

type Route = "/v1/ai" | "/v1/chat";

function json(status: number, value: unknown, headers: Record<string, string> = {}): Response {
  return new Response(JSON.stringify(value), {
    status,
    headers: { "content-type": "application/json", "cache-control": "no-store", ...headers },
  });
}

function dailyCap(): Response {
  return json(
    429,
    { error: "daily_cap", message: "This device has used today's calls; they reset at 00:00 UTC." },
    { "retry-after": String(secondsToNextDay()) },
  );
}

// Takes one of the device's calls of today, runs `call`, and gives the call back when the model's side
// failed: only answered calls count against the cap.
async function counted(env: Env, device: string, call: () => Promise<Response>): Promise<Response> {
  const cap = Number.parseInt(env.DAILY_CAP, 10);
  const day = utcDay();
  const counter = env.DEVICE_DAY.get(env.DEVICE_DAY.idFromName(device));
  if (!(await counter.take(day, Number.isFinite(cap) ? cap : 0))) {
    return dailyCap();
  }
  try {
    return await call();
  } catch (error) {
    // Should that fail too, the device has lost one call, and the answer is still the upstream failure.
    await counter.giveBack(day).catch(() => {});
    throw error;
  }
}

async function handle(request: Request, env: Env, route: Route): Promise<Response> {
  if (request.method !== "POST") {
    return json(405, { error: "method_not_allowed" }, { allow: "POST" });
  }
  if (!(await sameSecret(request.headers.get("x-murmora-app"), env.APP_SECRET))) {
    return json(401, { error: "unauthorized" });
  }
  const device = deviceKey(request.headers.get("x-murmora-device"));
  if (device === null) {
    throw new Rejected(400, "x-murmora-device must be a UUID");
  }
  if (route === "/v1/ai") {
    const body = parseAIRequest(await readBody(request, maxAIBodyBytes));
    return counted(env, device, async () => json(200, { text: await complete(env, body.prompt, body.max_tokens) }));
  }
  const body = parseChatRequest(await readBody(request, maxChatBodyBytes));
  return counted(
    env,
    device,
    async () =>
      new Response(await stream(env, body), {
        headers: { "content-type": "text/event-stream; charset=utf-8", "cache-control": "no-store" },
      }),
  );
}

// The one log line of a request: never anything of its headers or body.
function logLine(route: string, status: number, started: number, upstreamStatus?: number): void {
  const line = { route, status, ms: Date.now() - started, upstreamStatus };
  console.log(JSON.stringify(line));
}

export default {
  async fetch(request: Request, env: Env): Promise<Response> {
    const started = Date.now();
    const path = new URL(request.url).pathname;
    if (path !== "/v1/ai" && path !== "/v1/chat") {
      logLine("other", 404, started);
      return json(404, { error: "not_found" });
    }
    let response: Response;
    let upstreamStatus: number | undefined;
    try {
      response = await handle(request, env, path);
    } catch (error) {
      if (error instanceof Rejected) {
        response = json(error.status, { error: error.reason });
      } else if (error instanceof UpstreamFailed) {
        upstreamStatus = error.upstreamStatus;
        response = json(502, { error: "upstream_failed" });
      } else {
        // Its message may hold request text, so it is not logged either.
        response = json(500, { error: "internal" });
      }
    }
    logLine(path, response.status, started, upstreamStatus);
    return response;
  },
} satisfies ExportedHandler<Env>;
