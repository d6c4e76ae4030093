// What ag-psd shows of each document in a folder, as text, a line for each layer and one for the
// picture: node readers-ag-psd.cjs MODULES_FOLDER DOCUMENTS_FOLDER OUTPUT_FOLDER
// A document that it does not open gets no text, and its reason on the standard output.
const crypto = require("crypto");
const fs = require("fs");
const path = require("path");

const [modules, documents, output] = process.argv.slice(2);
const { initializeCanvas, readPsd } = require(path.join(modules, "ag-psd"));

// Only its pixels are asked for, so nothing ever draws.
initializeCanvas(
    () => {
        throw new Error("there is no canvas");
    },
    (width, height) => ({ width, height, data: new Uint8ClampedArray(width * height * 4) }),
);

const bytesOf = (data) => Buffer.from(data.buffer, data.byteOffset, data.byteLength);

function pixels(image) {
    if (!image) {
        return "none";
    }
    const sum = crypto.createHash("sha256").update(bytesOf(image.data)).digest("hex");
    return `${image.width}x${image.height} ${sum}`;
}

const place = (of) => [of.left, of.top, of.right, of.bottom].join(",");

function mask(kind, of) {
    const more = of && [of.defaultColor, of.disabled, of.positionRelativeToLayer].join(",");
    return of ? `${kind} ${place(of)} ${more} ${pixels(of.imageData)}` : `no ${kind}`;
}

function linesOf(layers, depth) {
    return layers.flatMap((layer) => [
        [
            "  ".repeat(depth) + JSON.stringify(layer.name),
            place(layer),
            layer.children ? "group" : pixels(layer.imageData),
            mask("mask", layer.mask),
            mask("real mask", layer.realMask),
            `${layer.blendMode} ${layer.opacity} ${layer.clipping} ${layer.hidden}`,
        ].join(" | "),
        ...linesOf(layer.children || [], depth + 1),
    ]);
}

for (const name of fs.readdirSync(documents).sort()) {
    try {
        const psd = readPsd(fs.readFileSync(path.join(documents, name)), {
            useImageData: true,
            useRawThumbnail: true,
        });
        const picture = `picture ${pixels(psd.imageData)}`;
        const text = [picture, ...linesOf(psd.children || [], 0)].join("\n") + "\n";
        fs.writeFileSync(path.join(output, `${path.parse(name).name}.txt`), text);
    } catch (error) {
        console.log(`${name}: ${error.message}`);
    }
}
