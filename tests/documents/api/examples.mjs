// Holds every example of the description against what the device that runs answers.
//
// Times differ from run to run, and the folder of the user files is the device's own; everything
// else has to be as the example says.

import assert from "node:assert/strict";
import { readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { env } from "node:process";

const yaml = createRequire(`${process.cwd()}/`)("js-yaml");
const { components, paths } = yaml.load(readFileSync("openapi.yaml", "utf8"));
const { examples } = components;

const device = "http://127.0.0.1:8081";
const describedFolder = "/var/lib/parlowen/storage/userfiles";
const time = "2026-11-21T05:49:56Z";

function described(name) {
  const text = JSON.stringify(examples[name].value);
  return text.replaceAll(describedFolder, env.USER_FILES);
}

async function ask(method, route, body) {
  const response = await fetch(device + route, { method, ...(body !== undefined && { body }) });
  return { status: response.status, text: await response.text() };
}

function compare(name, answer) {
  const example = JSON.parse(described(name));
  if (typeof example === "string") {
    assert.equal(answer, example, name);
    return;
  }
  const text = answer.replace(/\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ/g, time);
  assert.deepEqual(JSON.parse(text), example, name);
}

const shown = new Set();

async function expectExample(name, method, route, body) {
  compare(name, (await ask(method, route, body)).text);
  shown.add(name);
}

function send(name) {
  shown.add(name);
  return described(name);
}

function form(path, content) {
  const parts = new FormData();
  parts.append("metadata", JSON.stringify({ fileUri: path, fileSize: content.length }));
  parts.append("file", new Blob([content]));
  return parts;
}

async function checkDevice() {
  await expectExample("Info", "GET", "/info");
  await expectExample("Done", "POST", "/api/v1/techinfo", send("Technician"));
  await expectExample("MethodNotAllowed", "POST", "/api/v1/techinfo", "no JSON");
  await expectExample("MissingTechId", "POST", "/api/v1/techinfo", "{}");
  await expectExample("InvalidTechId", "POST", "/api/v1/techinfo", '{"techId": "a-b"}');
}

async function checkWorkOrders() {
  const workflow = "/api/workflow/v1";
  await expectExample("NoActiveWorkOrder", "GET", `${workflow}/active`);
  await expectExample("Done", "POST", `${workflow}/workorders`, send("WorkOrderBatch"));
  await expectExample("NoCdm", "POST", `${workflow}/workorders`, "{}");
  await expectExample("HandlerError", "POST", `${workflow}/workorders`, '{"cdm": [{}]}');
  await expectExample("WorkOrderEnvelope", "GET", `${workflow}/workorder/WO-1013`);
  await expectExample("JobNotFound", "GET", `${workflow}/workorder/WO-9999`);
  await expectExample("InavlidUri", "GET", `${workflow}/workorder/`);
  await expectExample("NotAllowed", "POST", `${workflow}/workorder/WO-1013/attachment`);
  await expectExample("ActiveWorkOrder", "PUT", `${workflow}/active`, send("ActiveWorkOrder"));
  await expectExample("ActiveWorkOrder", "GET", `${workflow}/active`);
  await expectExample("WorkOrderNotFound", "PUT", `${workflow}/active`, "{}");
  await expectExample("TemplateList", "GET", `${workflow}/templates`);
}

// The device keeps its sample work orders besides those of the example.
async function checkWorkOrderList() {
  const list = JSON.parse((await ask("GET", "/api/workflow/v1/list")).text);
  const isOfBatch = (id) => id === "WO-1013" || id === "WO-1014";
  const ofBatch = {
    workOrderIds: list.workOrderIds.filter(isOfBatch),
    workOrderInfo: list.workOrderInfo.filter((info) => isOfBatch(info.workOrderId)),
  };
  compare("WorkOrderList", JSON.stringify(ofBatch));
  shown.add("WorkOrderList");
}

async function checkFileLists() {
  const pending = "/api/syncfiles/v1/pendingfiles";
  await expectExample("FileListing", "GET", "/api/filemgr/v2/userfiles");
  await expectExample("PendingFileList", "GET", `${pending}/all`);
  const listing = JSON.parse((await ask("GET", `${pending}/all`)).text);
  for (const file of listing) {
    const route = `/api/syncfiles/v1/userfiles${encodeURI(file.path)}`;
    await expectExample("Done", "PUT", route);
  }
  await expectExample("NoPendingFiles", "GET", `${pending}/all`);
}

async function checkFiles() {
  const folder = env.USER_FILES;
  const manager = "/api/filemgr/v2";
  await expectExample("FileMetadata", "GET", `${manager}/metadata${folder}/readme.txt`);
  await expectExample("FileNotFound", "GET", `/api/syncfiles/v1/metadata${folder}/none`);
  await expectExample("InvalidUri", "GET", `${manager}/metadata${folder}/none`);
  await expectExample("FileReadFailure", "GET", `${manager}/userfiles${folder}/none`);
  await expectExample("UploadFailed", "POST", `${manager}/userfiles`, form("/none", "x"));

  const json = described("JsonFile");
  await ask("POST", `${manager}/userfiles`, form(`${folder}/readings.json`, json));
  await expectExample("JsonFile", "GET", `${manager}/userfiles${folder}/readings.json`);
  await ask("POST", `${manager}/userfiles`, form(`${folder}/empty`, ""));
  await expectExample("EmptyFilePage", "GET", `${manager}/userfiles${folder}/empty`);
}

// A call of the device that takes longer than its clients are let wait: one of two that ask at once
// begins it and is told that no answer came, the other one never gets its turn.
async function checkBusyDevice() {
  writeFileSync(env.FAULTS, "slow-call=11000\n");
  const answers = await Promise.all([ask("GET", "/info"), ask("GET", "/info")]);
  rmSync(env.FAULTS);
  answers.sort((one, other) => one.status - other.status);
  assert.deepEqual(answers.map(({ status }) => status), [408, 500]);
  compare("Busy", answers[0].text);
  compare("NoAnswer", answers[1].text);
  shown.add("Busy").add("NoAnswer");
}

// Every operation of the description is called by the workflows.
function checkWorkflows() {
  const { workflows } = yaml.load(readFileSync("arazzo.yaml", "utf8"));
  const called = new Set(workflows.flatMap(({ steps }) => steps.map((step) => step.operationId)));
  const operations = Object.values(paths).flatMap((path) => Object.values(path));
  const named = operations.map(({ operationId }) => operationId).filter((name) => name);
  assert.deepEqual([...called].sort(), named.sort());
}

checkWorkflows();
await checkDevice();
await checkWorkOrders();
await checkWorkOrderList();
await checkFileLists();
await checkFiles();
await checkBusyDevice();

const unseen = Object.keys(examples).filter((name) => !shown.has(name));
assert.deepEqual(unseen, []);
console.log(`${shown.size} examples are what the device answers`);
