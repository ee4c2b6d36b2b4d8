// Opens the rendered description from the file system, as a reader without a network would.
//
//   page.mjs CHROMIUM [SCREENSHOT]

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { argv, cwd } from "node:process";
import { pathToFileURL } from "node:url";

const require = createRequire(`${cwd()}/`);
const yaml = require("js-yaml");
const { chromium } = require("playwright-core");

const [, , executablePath, screenshot] = argv;
const { paths } = yaml.load(readFileSync("openapi.yaml", "utf8"));
const methods = ["get", "put", "post", "patch", "delete"];
const operations = Object.entries(paths).flatMap(([path, item]) =>
  methods.filter((method) => item[method]).map((method) => ({ path, method, ...item[method] })),
);

const address = pathToFileURL(`${cwd()}/http-api.html`).href;
const requests = [];
const faults = [];

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
try {
  const page = await browser.newPage({ viewport: { width: 1400, height: 1000 } });
  page.on("request", (request) => requests.push(request.url()));
  page.on("pageerror", (error) => faults.push(String(error)));
  await page.goto(address);

  for (const { operationId, method, path, summary } of operations) {
    const section = page.locator(`[id$="/operation/${operationId}"]`);
    await section.waitFor({ state: "visible" });
    const text = await section.innerText();
    assert.ok(text.includes(summary), `${operationId} is shown with its summary`);
    assert.ok(text.includes(path), `${operationId} is shown with its path ${path}`);
    assert.ok(text.toLowerCase().includes(method), `${operationId} is shown with its method`);
  }
  if (screenshot !== undefined) {
    await page.screenshot({ path: screenshot });
  }
} finally {
  await browser.close();
}

const outside = requests.filter((url) => !/^(file|data|blob):/.test(url));
assert.deepEqual(outside, [], "the page asks no network for anything");
assert.deepEqual(faults, [], "the page runs without errors");
console.log(`${operations.length} operations are shown`);
