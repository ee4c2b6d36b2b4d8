// Sends the form from a page in a browser: WAY CHROMIUM URL DESCRIPTION FILE, where WAY is a script's
// "fetch" or the "form" of the page itself.
import { createRequire } from "node:module";
import { createServer } from "node:http";
import { once } from "node:events";

const { chromium } = createRequire(`${process.cwd()}/`)("playwright-core");
const [way, executablePath, url, description, name] = process.argv.slice(2);

const server = createServer((request, response) => {
  response.setHeader("Content-Type", "text/html");
  response.end(`<!DOCTYPE html><meta charset="utf-8">
    <form method="post" enctype="multipart/form-data" action="${url}">
    <textarea name="metadata"></textarea><input type="file" name="file"><button>send</button></form>`);
}).listen(0, "127.0.0.1");
await once(server, "listening");

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
try {
  const page = await browser.newPage();
  await page.goto(`http://127.0.0.1:${server.address().port}/`);
  await page.fill("textarea", description);
  await page.setInputFiles("input", name);
  if (way === "form") {
    const answered = page.waitForResponse(url);
    await page.click("button");
    await answered;
  } else {
    await page.evaluate(async (url) => {
      const body = new FormData(document.querySelector("form"));
      await fetch(url, { method: "POST", body, mode: "no-cors" });
    }, url);
  }
  console.log(browser.version());
} finally {
  await browser.close();
  server.close();
}
