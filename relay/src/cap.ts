import { DurableObject } from "cloudflare:workers";
import type { Env } from "./env";

interface Count {
  day: string;
  used: number;
}

// The UTC day of `now`, as "YYYY-MM-DD".
export function utcDay(now: Date = new Date()): string {
  return now.toISOString().slice(0, 10);
}

// Seconds from `now` to the next UTC midnight, when every device's count starts again.
export function secondsToNextDay(now: Date = new Date()): number {
  const next = Date.UTC(now.getUTCFullYear(), now.getUTCMonth(), now.getUTCDate() + 1);
  return Math.max(1, Math.ceil((next - now.getTime()) / 1000));
}

// One device's calls of the current UTC day. A call takes its place before it goes upstream and gives it
// back if it fails, so that calls running at the same time can never pass the cap together. Each method
// reads and writes the object's storage synchronously, so no other call can come in between.
export class DeviceDay extends DurableObject<Env> {
  take(day: string, cap: number): boolean {
    const count = this.ctx.storage.kv.get<Count>("count");
    const used = count?.day === day ? count.used : 0;
    if (used >= cap) {
      return false;
    }
    this.ctx.storage.kv.put<Count>("count", { day, used: used + 1 });
    return true;
  }

  // A call taken on `day` failed upstream. After midnight there is nothing left to give back.
  giveBack(day: string): void {
    const count = this.ctx.storage.kv.get<Count>("count");
    if (count?.day === day && count.used > 0) {
      this.ctx.storage.kv.put<Count>("count", { day, used: count.used - 1 });
    }
  }
}
