import { readFileSync } from "node:fs";
import { createRequire } from "node:module";

const axios = createRequire(`${process.cwd()}/`)("axios");

const [url, description, name] = process.argv.slice(2);
const form = new FormData();
form.append("metadata", description);
form.append("file", new Blob([readFileSync(name)]), name);
await axios.post(url, form);
console.log(axios.VERSION);
