// The fake Messages API as a process of its own, so that it does not share the load generator's CPU. It
// sends its address when it listens, and answers "count" with the number of requests it has seen.
import { startFakeUpstream } from "../test/fake-upstream.mjs";

const fake = await startFakeUpstream();
process.on("message", (message) => message === "count" && process.send({ count: fake.requests.length }));
process.send({ url: fake.url });
// Nothing of the bodies is needed here; keeping them all would only grow.
setInterval(() => fake.requests.fill(null), 1000).unref();
