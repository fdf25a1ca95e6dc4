import type { DeviceDay } from "./cap";

export interface Env {
  DEVICE_DAY: DurableObjectNamespace<DeviceDay>;
  // Secrets.
  APP_SECRET: string;
  ANTHROPIC_API_KEY: string;
  // Vars.
  MODEL: string;
  DAILY_CAP: string;
  UPSTREAM_URL: string;
}
