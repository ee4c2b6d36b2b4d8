import { createRequire } from "node:module";

const fromHere = createRequire(`${process.cwd()}/`);
const superagent = fromHere("superagent");

const [url, description, name] = process.argv.slice(2);
await superagent.post(url).field("metadata", description).attach("file", name);
console.log(fromHere("superagent/package.json").version);
