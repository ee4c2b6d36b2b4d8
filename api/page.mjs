// Renders openapi.yaml as http-api.html: one page that holds the description and all that shows it,
// to be read without a network.

import { readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";

import yaml from "js-yaml";

const bundle = createRequire(import.meta.url).resolve("redoc/bundles/redoc.standalone.js");
const description = yaml.load(readFileSync("openapi.yaml", "utf8"));

// What stands in a script element must not look like its end.
function inScript(text) {
  return text.replaceAll("</script", "<\\/script");
}

// The side bar closes with a picture from the network; an empty one takes its place.
function withoutPictures(script) {
  return script.replaceAll(/https:\/\/[\w./-]+\.svg/g, "data:image/svg+xml,<svg/>");
}

const options = { hideDownloadButton: true, nativeScrollbars: true, jsonSampleExpandLevel: 4 };

writeFileSync(
  "http-api.html",
  `<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>${description.info.title}</title>
<style>body { margin: 0; }</style>
</head>
<body>
<div id="description"></div>
<script>${inScript(withoutPictures(readFileSync(bundle, "utf8")))}</script>
<script>
Redoc.init(
${inScript(JSON.stringify(description))},
${JSON.stringify(options)},
document.getElementById("description"));
</script>
</body>
</html>
`,
);
