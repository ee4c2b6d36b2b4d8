// Lists the user files of a device, uploads a file, downloads it again and compares the two.
//
//   node compiled/transfer.js DEVICE FILE FOLDER
//
// DEVICE is the address of the device, such as http://127.0.0.1:8081, FOLDER the device's folder
// that the file goes to. The types come from the description:
//
//   npx openapi-typescript openapi.yaml --output example/device.ts

import { createHash } from "node:crypto";
import { readFile } from "node:fs/promises";
import { basename } from "node:path";
import { argv, exit } from "node:process";

import createClient, { type Client } from "openapi-fetch";

import type { components, paths } from "./device.js";

type DeviceError = components["schemas"]["Error"];
type FileMetadata = components["schemas"]["FileMetadata"];

// The device reports most failures under status 200, as an object with one member.
function isError(answer: object): answer is DeviceError {
  return "errorMessage" in answer;
}

// What a call was answered with, once everything that means failure is out of the way.
function expectSuccess<Answer extends object>(result: {
  data?: Answer | undefined;
  error?: unknown;
  response: Response;
}): Exclude<Answer, DeviceError> {
  if (result.data === undefined) {
    throw new Error(`status ${result.response.status}: ${String(result.error)}`);
  }
  if (isError(result.data)) {
    throw new Error(`refused: ${result.data.errorMessage || "no reason given"}`);
  }
  return result.data as Exclude<Answer, DeviceError>;
}

class Device {
  private readonly client: Client<paths>;

  constructor(address: string) {
    this.client = createClient<paths>({ baseUrl: address });
  }

  async listFiles(): Promise<components["schemas"]["File"][]> {
    const listing = expectSuccess(await this.client.GET("/api/filemgr/v2/userfiles"));
    return listing.files;
  }

  async upload(path: string, content: Uint8Array<ArrayBuffer>): Promise<void> {
    const metadata = { fileUri: path, fileSize: content.length };
    expectSuccess(
      await this.client.POST("/api/filemgr/v2/userfiles", {
        body: { metadata, file: "" },
        // The parts are told apart by their order: the metadata has to come first.
        bodySerializer: () => {
          const form = new FormData();
          form.append("metadata", JSON.stringify(metadata));
          form.append("file", new Blob([content]));
          return form;
        },
      }),
    );
  }

  async metadata(path: string): Promise<FileMetadata> {
    return expectSuccess(
      await this.client.GET("/api/filemgr/v2/metadata{path}", { params: { path: { path } } }),
    );
  }

  // A file may hold what an error looks like, and an empty one comes as a page of text, so only the
  // metadata tells whether the right bytes arrived.
  async download(path: string): Promise<Uint8Array> {
    const metadata = await this.metadata(path);
    const result = await this.client.GET("/api/filemgr/v2/userfiles{path}", {
      params: { path: { path } },
      parseAs: "arrayBuffer",
    });
    if (result.data === undefined) {
      throw new Error(`status ${result.response.status}: ${String(result.error)}`);
    }
    const content = metadata.size === 0 ? new Uint8Array() : new Uint8Array(result.data);
    if (content.length !== metadata.size || sha256(content) !== metadata.sha256) {
      throw new Error(`${path} did not arrive as it is on the device`);
    }
    return content;
  }
}

function sha256(content: Uint8Array): string {
  return createHash("sha256").update(content).digest("hex");
}

async function main(address: string, file: string, folder: string): Promise<void> {
  const device = new Device(address);
  const content = new Uint8Array(await readFile(file));
  const path = `${folder}/${basename(file)}`;

  console.log(`before: ${(await device.listFiles()).length} files`);
  await device.upload(path, content);
  console.log(`uploaded: ${content.length} bytes`);
  console.log(`after: ${(await device.listFiles()).length} files`);
  const copy = await device.download(path);
  console.log(`downloaded: ${copy.length} bytes`);
  console.log(Buffer.compare(content, copy) === 0 ? "the same bytes" : "other bytes");
}

const [, , address, file, folder] = argv;
if (address === undefined || file === undefined || folder === undefined) {
  console.error("usage: transfer.js DEVICE FILE FOLDER");
  exit(2);
}
await main(address, file, folder);
