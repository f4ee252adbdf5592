// The server with clients that others wrote: the official SDK and the command line of its inspector.
//
// Usage: STRUCTURE_INGEST=PROGRAM node --test client_test.mjs
import assert from "node:assert/strict";
import { execFile, spawn } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import readline from "node:readline";
import { after, test } from "node:test";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { ResourceListChangedNotificationSchema } from "@modelcontextprotocol/sdk/types.js";

const PROGRAM = process.env.STRUCTURE_INGEST;
const HERE = path.dirname(fileURLToPath(import.meta.url));
const EXAMPLES = path.join(HERE, "examples");
const STRUCTURES = fs.readdirSync(EXAMPLES, { recursive: true }).filter((name) => /\.(xyz|extxyz|cif)$|POSCAR/.test(name));
const made = [];
const connected = [];
after(async () => {
  await Promise.all(connected.map((client) => client.close())); // a server left open by a failure keeps node alive
  made.forEach((folder) => fs.rmSync(folder, { recursive: true }));
});

/** A folder with the examples in it. */
function workspace() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), "structure-ingest-"));
  made.push(folder);
  fs.cpSync(EXAMPLES, path.join(folder, "files"), { recursive: true });
  return fs.realpathSync(folder);
}

/** Files that take long to read and check: `count` of them, with 20,000 atoms each. */
function longFiles(folder, count) {
  const lines = ["20000", ""];
  for (let i = 0; i < 20000; ++i) lines.push(`Si ${3 * (i % 30)} ${3 * (Math.trunc(i / 30) % 30)} ${Math.trunc(i / 900) * 3}.${i}`);
  const text = lines.join("\n") + "\n";
  return Array.from({ length: count }, (_, i) => {
    const file = path.join(folder, `long${i}.xyz`);
    fs.writeFileSync(file, text);
    return file;
  });
}

const environment = (folder) => ({ ...process.env, XDG_CONFIG_HOME: path.join(folder, "config"),
  XDG_CACHE_HOME: path.join(folder, "cache") });

async function connect(folder, ...options) {
  const client = new Client({ name: "test", version: "1" });
  const transport = new StdioClientTransport({
    command: PROGRAM, args: ["serve", "--root", folder, ...options],
    env: environment(folder), stderr: "ignore",
  });
  await client.connect(transport);
  connected.push(client);
  return { client, transport, call: (name, args, ...more) => client.callTool({ name, arguments: args }, undefined, ...more) };
}

/** A server without a client: its lines are written and read here. */
function bare(folder, revision = "2025-11-25") {
  const server = spawn(PROGRAM, ["serve", "--root", folder],
    { env: environment(folder), stdio: ["pipe", "pipe", "ignore"] });
  server.stdin.on("error", () => {});
  const answers = [];
  const waiting = [];
  readline.createInterface({ input: server.stdout }).on("line", (line) => {
    answers.push(JSON.parse(line)); // nothing but protocol is there
    waiting.forEach((wake) => wake());
  });
  const send = (message) => server.stdin.write(JSON.stringify({ jsonrpc: "2.0", ...message }) + "\n");
  /** The answer with an id; of several requests the order does not matter. */
  const answer = async (id) => {
    for (;;) {
      const found = answers.find((each) => each.id === id);
      if (found) return found;
      await new Promise((wake) => waiting.push(wake));
    }
  };
  send({ id: "hello", method: "initialize", params: { protocolVersion: revision, capabilities: {}, clientInfo: { name: "t", version: "1" } } });
  return { server, send, answer, answers, ended: once(server, "exit") };
}

test("each tool answers what its schema says", async () => {
  const folder = workspace();
  const { client, transport, call } = await connect(folder);
  let changes = 0;
  client.setNotificationHandler(ResourceListChangedNotificationSchema, () => { ++changes; });
  const { tools } = await client.listTools(); // from now on each answer is compared with its schema
  const unused = new Set(tools.map((tool) => tool.name));
  const answer = async (name, args) => {
    const result = await call(name, args);
    assert.ok(!result.isError, JSON.stringify(result));
    assert.equal(result.content[0].type, "text");
    assert.ok(result.content[0].text.includes(result.structuredContent.next_step));
    unused.delete(name);
    return result.structuredContent;
  };
  const files = (await answer("scan_workspace", {})).files;
  assert.equal(files.length, STRUCTURES.length);
  const project = path.join(folder, "project");
  const taken = await answer("hydrate_project", { project, paths: files.map((file) => file.path) });
  assert.equal(taken.structures.length, files.length);
  assert.equal(changes, 1);
  for (const { path: file } of files) {
    const parsed = await answer("parse_structure", { path: file, include_coordinates: true });
    const checked = await answer("check_structure", { path: file });
    assert.equal(parsed.ok, checked.ok);
    assert.equal(parsed.copies.length, parsed.ok ? 1 : 0);
    if (!parsed.ok) continue;
    // The copy holds the very coordinates, to its ten decimals.
    const [count, , ...atoms] = fs.readFileSync(parsed.copies[0], "utf8").split("\n");
    assert.equal(Number(count), parsed.natoms);
    parsed.coordinates.positions_ang.forEach((position, i) => {
      const [symbol, ...numbers] = atoms[i].split(" ");
      assert.equal(symbol, parsed.coordinates.symbols[i]);
      numbers.forEach((number, k) => assert.ok(Math.abs(Number(number) - position[k]) <= 0.51e-10));
    });
    const picture = await call("picture_of_structure", { path: file, mark_atoms: [0] });
    unused.delete("picture_of_structure");
    assert.equal(picture.content[1].mimeType, "image/png");
    assert.equal(Buffer.from(picture.content[1].data, "base64").subarray(1, 4).toString(), "PNG");
  }
  assert.equal((await answer("list_structures", { project })).structures.length, files.length);
  assert.equal((await answer("verify_project", { project })).as_it_was, true);
  assert.equal((await answer("explain_finding", { code: "several_frames" })).severity, "warning");
  const forgotten = await answer("forget_structure", { project, name: "water.xyz", delete_copy: true });
  assert.equal(forgotten.copy, "deleted");
  const again = await answer("ingest_structures", { project, paths: [path.join(folder, "files/water.xyz")] });
  assert.equal(again.structures[0].formula, "H2O");
  assert.deepEqual([...unused], []);
  assert.equal(changes, 3);

  const { resources } = await client.listResources();
  assert.equal(resources.filter((each) => each.mimeType === "chemical/x-xyz").length, taken.structures.filter((each) => each.copy).length);
  assert.equal(resources.filter((each) => each.mimeType === "application/json").length, 2);
  for (const { uri } of resources) {
    const { contents } = await client.readResource({ uri });
    assert.equal(contents[0].text, fs.readFileSync(fileURLToPath(uri), "utf8"));
  }
  assert.equal((await client.listResourceTemplates()).resourceTemplates.length, 3);
  await assert.rejects(client.readResource({ uri: "file:///etc/passwd" }), /call resources\/list/);
  const outside = await call("parse_structure", { path: "/etc/passwd" });
  assert.equal(outside.isError, true);
  assert.match(outside.content[0].text, /outside the roots/);
  const { pid } = transport;
  await client.close();
  assert.throws(() => process.kill(pid, 0)); // it ends with its input
});

test("a read-only server offers and writes nothing", async () => {
  const folder = workspace();
  const { client, call } = await connect(folder, "--read-only");
  const { tools } = await client.listTools();
  assert.equal(tools.every((tool) => tool.annotations.readOnlyHint), true);
  const result = await call("hydrate_project", { project: path.join(folder, "p") });
  assert.match(result.content[0].text, /writes nothing/);
  await client.close();
  assert.deepEqual(fs.readdirSync(folder), ["files"]);
});

test("progress is told, ping is not kept waiting, and a call can be cancelled", async () => {
  const folder = workspace();
  const paths = longFiles(folder, 100);
  const project = path.join(folder, "project");
  const { client, call } = await connect(folder);
  const told = [];
  const stop = new AbortController();
  const long = call("hydrate_project", { project, paths }, {
    signal: stop.signal,
    onprogress: async (progress) => {
      told.push(progress);
      if (told.length !== 3) return;
      await client.ping(); // answered while the call runs
      stop.abort("enough");
    },
  });
  await assert.rejects(long, /enough/);
  assert.equal(told[0].total, 100);
  assert.ok(told[0].progress < told[1].progress && told[1].progress < told[2].progress);
  assert.ok(told[2].progress < 90, JSON.stringify(told));
  // The next call comes behind it: what was cancelled is over, and was not taken in.
  const scanned = await call("scan_workspace", { directory: path.join(folder, "files") });
  assert.equal(scanned.structuredContent.total, STRUCTURES.length);
  assert.equal(fs.existsSync(path.join(project, ".strataquill_state.json")), false);
  await client.close();
});

test("the process that runs ASE is kept between calls", async () => {
  const folder = workspace();
  const { client, transport, call } = await connect(folder);
  const children = () => fs.readdirSync(`/proc/${transport.pid}/task`)
    .map((task) => fs.readFileSync(`/proc/${transport.pid}/task/${task}/children`, "utf8")).join("").trim();
  assert.equal(children(), "");
  await call("parse_structure", { path: path.join(folder, "files/rock_salt.cif") });
  const first = children();
  assert.match(first, /^\d+$/);
  await call("hydrate_project", { project: path.join(folder, "p"), paths: [path.join(folder, "files/copper/POSCAR")] });
  await call("verify_project", { project: path.join(folder, "p") });
  assert.equal(children(), first);
  await client.close();
});

test("a thousand requests at once are answered, ping before the tools", async () => {
  const folder = workspace();
  const { server, send, answer, answers, ended } = bare(folder);
  for (let id = 0; id < 1000; ++id) {
    send(id % 2 ? { id, method: "ping" }
      : { id, method: "tools/call", params: { name: "parse_structure", arguments: { path: "files/silicon.extxyz" } } });
  }
  await Promise.all(Array.from({ length: 1000 }, (_, id) => answer(id)));
  assert.equal(answers.length, 1001);
  const place = (id) => answers.findIndex((each) => each.id === id);
  assert.ok(place(999) < place(998));
  server.stdin.end();
  assert.deepEqual(await ended, [0, null]);
});

test("garbage and half messages are errors, and the server goes on", async () => {
  const folder = workspace();
  const { server, send, answer, answers, ended } = bare(folder);
  await answer("hello");
  for (const line of ["", "{", "[", "\u0000\u00ff", "{}", "[]", "1", "\"x\"", "GET / HTTP/1.1",
    "{\"jsonrpc\":\"2.0\",\"id\":[],\"method\":\"ping\"}", "[".repeat(100000), "x".repeat(9 << 20)]) {
    server.stdin.write(line + "\n");
  }
  send({ id: 1, method: "ping" });
  assert.deepEqual((await answer(1)).result, {});
  assert.equal(answers.filter((each) => each.error && each.id === undefined).length, 11);
  const text = JSON.stringify({ jsonrpc: "2.0", id: 2, method: "ping" });
  server.stdin.write(text.slice(0, 20));
  await new Promise((wake) => setTimeout(wake, 50));
  server.stdin.write(text.slice(20) + "\n");
  assert.deepEqual((await answer(2)).result, {});
  server.stdin.end(text.slice(0, 20));
  assert.deepEqual(await ended, [0, null]);
  assert.equal(answers.at(-1).error.code, -32700);
});

test("the oldest revision has batches and no structured content", async () => {
  const folder = workspace();
  const { server, answer, answers, ended } = bare(folder, "2025-03-26");
  assert.equal((await answer("hello")).result.protocolVersion, "2025-03-26");
  server.stdin.end(JSON.stringify([
    { jsonrpc: "2.0", id: 1, method: "tools/list" },
    { jsonrpc: "2.0", id: 2, method: "tools/call", params: { name: "scan_workspace", arguments: {} } },
  ]) + "\n");
  assert.deepEqual(await ended, [0, null]);
  const [list, scanned] = answers[1];
  assert.equal(list.result.tools.some((tool) => tool.outputSchema || tool.title), false);
  assert.equal(scanned.result.structuredContent, undefined);
  assert.equal(JSON.parse(scanned.result.content[1].text).total, STRUCTURES.length);
});

test("a server whose client has died ends, and writes no more", async () => {
  const folder = workspace();
  const paths = longFiles(folder, 150);
  const project = path.join(folder, "project");
  const { server, send, answer, ended } = bare(folder);
  await answer("hello");
  send({ id: 1, method: "tools/call", params: { name: "hydrate_project", arguments: { project, paths } } });
  const copies = path.join(project, "project_root/structures");
  while (!fs.existsSync(copies)) await new Promise((wake) => setTimeout(wake, 10));
  server.stdin.destroy();
  server.stdout.destroy();
  assert.deepEqual(await ended, [0, null]);
  // A new project that holds nothing yet is not left behind.
  assert.ok(!fs.existsSync(project) || fs.readdirSync(copies).length < 140);
  assert.equal(fs.existsSync(path.join(project, ".strataquill_state.json")), false);
});

test("the command line of the inspector understands it", async () => {
  const folder = workspace();
  const inspector = path.join(HERE, "node_modules/@modelcontextprotocol/inspector-cli/build/cli.js");
  const configuration = path.join(folder, "configuration.json"); // in the form of docs/server.md
  fs.writeFileSync(configuration, JSON.stringify({
    mcpServers: { structures: { command: PROGRAM, args: ["serve", "--root", folder] } },
  }));
  const inspect = async (...options) => {
    const { stdout } = await promisify(execFile)(process.execPath,
      [inspector, "--cli", "--config", configuration, "--server", "structures", ...options],
      { env: environment(folder) });
    return JSON.parse(stdout);
  };
  assert.equal((await inspect("--method", "tools/list")).tools.length, 10);
  const checked = await inspect("--method", "tools/call", "--tool-name", "check_structure",
    "--tool-arg", `path=${folder}/files/odd/bond_scan.xyz`);
  assert.equal(checked.structuredContent.worst, "warning");
  assert.deepEqual((await inspect("--method", "resources/list")).resources, []);
});
