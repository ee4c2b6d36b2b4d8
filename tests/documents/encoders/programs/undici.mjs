import { readFileSync } from "node:fs";
import { createRequire } from "node:module";

const fromHere = createRequire(`${process.cwd()}/`);
const { FormData, request } = fromHere("undici");

const [url, description, name] = process.argv.slice(2);
const form = new FormData();
form.append("metadata", description);
form.append("file", new Blob([readFileSync(name)]), name);
await (await request(url, { method: "POST", body: form })).body.text();
console.log(fromHere("undici/package.json").version);
