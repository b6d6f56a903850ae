// Bundles the page: node build.mjs OUT. Everything that it loads comes to lie in OUT.
import { copyFile, mkdir } from "node:fs/promises";
import { build } from "esbuild";

const out = process.argv[2] ?? "out";
await mkdir(out, { recursive: true });
await build({
    entryPoints: { page: "src/main.tsx", style: "src/style.css" },
    bundle: true,
    minify: true,
    format: "esm",
    target: ["es2020"],
    jsx: "automatic",
    jsxImportSource: "preact",
    legalComments: "eof",
    outdir: out,
    logLevel: "warning",
});
await copyFile("src/index.html", `${out}/index.html`);
await copyFile("src/icon.svg", `${out}/icon.svg`);
