// What the tests of a client can look like.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, test } from "node:test";

import { startDevice } from "../parlowen-device.mjs";

async function ask(device, path, method = "GET", body = undefined) {
  return (await fetch(device.address + path, { method, body })).json();
}

function upload(device, name, content) {
  const parts = new FormData();
  const fileUri = `${device.userFiles}/${name}`;
  parts.append("metadata", JSON.stringify({ fileUri, fileSize: content.length }));
  parts.append("file", new Blob([content]));
  return ask(device, "/api/filemgr/v2/userfiles", "POST", parts);
}

// Tests that change nothing share a device, which takes less time.
let shared;
before(async () => (shared = await startDevice()));
after(() => shared.stop());

const batch = JSON.stringify({ cdm: [{ workOrderId: "A" }] });

test("the device tells what it is", async () => {
  assert.equal((await ask(shared, "/info")).assetInfo.serialNumber, "PW-000042");
});

test("the device tells where its files are", async () => {
  assert.equal((await ask(shared, "/info")).assetInfo.userFilesFolder, shared.userFiles);
});

test("four files are pending from the start", async () => {
  assert.equal((await ask(shared, "/api/syncfiles/v1/pendingfiles")).length, 4);
});

test("a confirmed file is pending no more", async (context) => {
  const device = await startDevice({ context });
  await ask(device, `/api/syncfiles/v1/userfiles${device.userFiles}/readme.txt`, "PUT");
  assert.equal((await ask(device, "/api/syncfiles/v1/pendingfiles")).length, 3);
});

test("an uploaded file is in the folder", async (context) => {
  const device = await startDevice({ context });
  assert.deepEqual(await upload(device, "new.txt", "abc"), {});
  assert.equal(readFileSync(`${device.userFiles}/new.txt`, "utf8"), "abc");
});

test("work orders are stored", async (context) => {
  const device = await startDevice({ context });
  await ask(device, "/api/workflow/v1/workorders", "POST", batch);
  assert.ok((await ask(device, "/api/workflow/v1/list")).workOrderIds.includes("A"));
});

test("a program that does not start is an error that says why", async () => {
  await assert.rejects(startDevice({ arguments: ["--listen", "nowhere"] }), /nowhere/);
});

test("an upload finds no room", async (context) => {
  const device = await startDevice({ context });
  device.setFaults("no-space*1");
  assert.deepEqual(await upload(device, "new.txt", "abc"), { errorMessage: "Upload failed" });
  assert.deepEqual(await upload(device, "new.txt", "abc"), {});
});

test("work orders cannot be stored", async (context) => {
  const device = await startDevice({ context, arguments: ["--fault", "store-fails"] });
  const answer = await ask(device, "/api/workflow/v1/workorders", "POST", batch);
  assert.deepEqual(answer, { errorMessage: "Error in request handler" });
});

test("an empty device has no files", async (context) => {
  const device = await startDevice({ context, arguments: ["--empty"] });
  assert.deepEqual(await ask(device, "/api/filemgr/v2/userfiles"), { files: [] });
});
