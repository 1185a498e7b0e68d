// A loop of PUT requests by axios, a chunk of 2 MiB each: URL FILE.
"use strict";

const fs = require("fs");
const http = require("http");
const axios = require("axios");

const chunkBytes = 2 << 20;

async function main(url, path) {
  const file = fs.openSync(path, "r");
  const size = fs.fstatSync(file).size;
  const client = axios.create({
    httpAgent: new http.Agent({ keepAlive: true }),
    maxBodyLength: Infinity,
    maxRedirects: 0,
    proxy: false,
    validateStatus: (status) => status === 200 || status === 308,
  });
  const buffer = Buffer.alloc(chunkBytes);
  for (let offset = 0; offset < size; ) {
    const count = fs.readSync(file, buffer, 0, chunkBytes, offset);
    await client.put(url, buffer.subarray(0, count), {
      headers: { "Content-Range": `bytes ${offset}-${offset + count - 1}/${size}` },
    });
    offset += count;
  }
  client.defaults.httpAgent.destroy();
}

main(process.argv[2], process.argv[3]);
