import { createReadStream } from "node:fs";
import { createRequire } from "node:module";

const fromHere = createRequire(`${process.cwd()}/`);
const FormData = fromHere("form-data");

const [url, description, name] = process.argv.slice(2);
const form = new FormData();
form.append("metadata", description);
form.append("file", createReadStream(name));
await new Promise((done, fail) =>
  form.submit(url, (error, answer) => (error ? fail(error) : answer.resume().on("end", done))),
);
console.log(fromHere("form-data/package.json").version);
