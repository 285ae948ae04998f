// Martini's triangle count and time for terrain-RGB heights at several
// maximum errors: tile build plus mesh extraction, best of several runs.
// Usage: node run.mjs tile.png E1 E2 ...   (prints one JSON line)
import fs from 'node:fs';
import {PNG} from 'pngjs';
import Martini from '@mapbox/martini';

const png = PNG.sync.read(fs.readFileSync(process.argv[2]));
const size = png.width + 1;
// Martini needs (2^k + 1)^2 points: the last column and row are repeated.
const terrain = new Float32Array(size * size);
for (let y = 0; y < png.height; y++) {
    for (let x = 0; x < png.width; x++) {
        const k = (y * png.width + x) * 4;
        const [r, g, b] = [png.data[k], png.data[k + 1], png.data[k + 2]];
        terrain[y * size + x] = (r * 256 * 256 + g * 256 + b) / 10 - 10000;
    }
}
for (let x = 0; x < size - 1; x++) terrain[size * (size - 1) + x] = terrain[size * (size - 2) + x];
for (let y = 0; y < size; y++) terrain[size * y + size - 1] = terrain[size * y + size - 2];

const martini = new Martini(size);
const results = {};
for (const maxError of process.argv.slice(3).map(Number)) {
    let best = Infinity;
    let triangles = 0;
    for (let run = 0; run < 7; run++) {
        const start = process.hrtime.bigint();
        const mesh = martini.createTile(terrain).getMesh(maxError);
        best = Math.min(best, Number(process.hrtime.bigint() - start) / 1e6);
        triangles = mesh.triangles.length / 3;
    }
    results[maxError] = {triangles, ms: best};
}
console.log(JSON.stringify(results));
