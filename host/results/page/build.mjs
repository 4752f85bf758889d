// Makes the bundle: `node build.mjs` writes it. `node build.mjs --compare` checks that the sources give the committed
// bundle, and ends with status 1 if they do not.
import { build } from "esbuild";
import { mkdir, readFile, readdir, writeFile } from "node:fs/promises";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const bundle = join(here, "bundle");

async function licences(inputs) {
    const packages = new Set();
    for (const input of inputs) {
        const found = /node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(input);
        if (found) packages.add(found[1]);
    }
    let text = "Libraries in page.js, with their licences.\n";
    for (const name of [...packages].sort()) {
        const folder = join(here, "node_modules", name);
        const { version, license } = JSON.parse(await readFile(join(folder, "package.json"), "utf8"));
        const file = (await readdir(folder)).find((each) => /^licen[cs]e(\.|$)/i.test(each));
        if (!file) throw new Error(`${name} comes without the text of its licence`);
        const words = (await readFile(join(folder, file), "utf8")).trim();
        text += `\n${"=".repeat(78)}\n${name} ${version} (${license})\n\n${words}\n`;
    }
    return text;
}

async function files() {
    const result = await build({
        absWorkingDir: here,
        entryPoints: [{ in: "src/main.tsx", out: "page" }, { in: "src/page.css", out: "page" }],
        outdir: bundle,
        bundle: true,
        minify: true,
        charset: "utf8",
        format: "iife",
        target: ["es2022"],
        jsx: "automatic",
        jsxImportSource: "preact",
        legalComments: "none",
        metafile: true,
        write: false,
    });
    const made = new Map(result.outputFiles.map((file) => [file.path.slice(bundle.length + 1), file.text]));
    made.set("index.html", await readFile(join(here, "src/index.html"), "utf8"));
    made.set("licences.txt", await licences(Object.keys(result.metafile.inputs)));
    return made;
}

const made = await files();
if (process.argv.includes("--compare")) {
    let same = true;
    for (const [name, text] of made) {
        const committed = await readFile(join(bundle, name), "utf8").catch(() => "");
        if (committed !== text) {
            console.error(`bundle/${name} is not what the sources give; run "npm run build" and commit it`);
            same = false;
        }
    }
    process.exit(same ? 0 : 1);
}
await mkdir(bundle, { recursive: true });
for (const [name, text] of made) await writeFile(join(bundle, name), text);
for (const [name, text] of made) console.log(name, Buffer.byteLength(text));
