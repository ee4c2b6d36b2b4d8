// A simulated device for the tests of a client that runs on Node:
//
//     import { startDevice } from "./parlowen-device.mjs";
//
//     test("reads the device", async (context) => {
//       const device = await startDevice({ context });
//       const answer = await fetch(device.address + "/info");
//     });
//
// Each call starts a device of its own on a free port, with the sample content or a copy of the folder
// `golden`. With `context`, that of a test, the device ends with the test; otherwise `stop` ends it.
// PARLOWEN_DEVICE names the simulator's program.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, readdirSync, renameSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { env } from "node:process";
import { createInterface } from "node:readline";

export async function startDevice({ context, golden, program, arguments: more = [] } = {}) {
  const folder = mkdtempSync(join(tmpdir(), "parlowen-test-"));
  const faultFile = join(folder, "faults");
  const options = ["--port", "0", "--log-requests=json", "--temporary", "--fault-file", faultFile];
  const process = spawn(
    program ?? env.PARLOWEN_DEVICE ?? "parlowen-device",
    [...options, ...(golden ? ["--from", golden] : []), ...more],
    { stdio: ["ignore", "pipe", "pipe"], env: { ...env, TMPDIR: folder } },
  );
  const journal = [];
  let errors = "";
  process.stderr.setEncoding("utf8").on("data", (text) => (errors += text));
  const ended = once(process, "close");
  const address = await new Promise((resolve, reject) => {
    const lines = createInterface({ input: process.stdout });
    lines.once("line", (line) => {
      resolve(line.split(" ").pop());
      lines.on("line", (request) => journal.push(request));
    });
    ended.then(() => reject(new Error(`the simulator does not start: ${errors}`)), reject);
  }).catch((problem) => {
    rmSync(folder, { recursive: true });
    throw problem;
  });
  const made = readdirSync(folder).find((name) => name.startsWith("parlowen-device-"));
  const data = join(folder, made, "device");

  const device = {
    address,
    data,
    userFiles: join(data, "storage", "userfiles"),
    /** The requests so far, one line of JSON for each. */
    journal: () => [...journal],
    errors: () => errors,
    /** Puts these faults in force, instead of those before; see parlowen-device(1). */
    setFaults(...faults) {
      writeFileSync(`${faultFile}.new`, `${faults.join("\n")}\n`);
      renameSync(`${faultFile}.new`, faultFile);
    },
    async stop() {
      process.kill();
      await ended;
      rmSync(folder, { recursive: true });
    },
  };
  context?.after(async () => {
    if (context.passed === false || context.error) {
      context.diagnostic(`requests of the device:\n${journal.join("\n")}\n${errors}`);
    }
    await device.stop();
  });
  return device;
}
