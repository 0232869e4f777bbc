// Pictures as they have come, in halves, and as they are shown.
const pictures = new Map(); // number of the image: its Picture
const size = { width: 0, height: 0 };

class Picture {
  constructor(width, height) {
    this.width = width;
    this.height = height;
    this.halves = new Uint16Array(3 * width * height);
    this.canvas = document.createElement('canvas');
    this.canvas.width = width;
    this.canvas.height = height;
    this.context = this.canvas.getContext('2d');
    this.frames = 0;
  }

  // Pixels of a coarse picture fill squares.
  setTile(x, y, width, height, scale, halves) {
    const x0 = x * scale, y0 = y * scale;
    const x1 = Math.min((x + width) * scale, this.width);
    const y1 = Math.min((y + height) * scale, this.height);
    for (let row = y0; row < y1; ++row) {
      const from = 3 * width * Math.floor((row - y0) / scale);
      let to = 3 * (row * this.width + x0);
      if (scale === 1) {
        this.halves.set(halves.subarray(from, from + 3 * (x1 - x0)), to);
        continue;
      }
      for (let column = x0; column < x1; ++column) {
        const at = from + 3 * Math.floor((column - x0) / scale);
        this.halves[to++] = halves[at];
        this.halves[to++] = halves[at + 1];
        this.halves[to++] = halves[at + 2];
      }
    }
    this.paint(x0, y0, x1 - x0, y1 - y0);
  }

  paint(x0, y0, width, height) {
    if (width <= 0 || height <= 0) return;
    const part = this.context.createImageData(width, height), bytes = part.data;
    const [red, green, blue] = tone.tables;
    for (let y = 0, to = 0; y < height; ++y) {
      let from = 3 * ((y0 + y) * this.width + x0);
      for (let x = 0; x < width; ++x) {
        bytes[to++] = red[this.halves[from++]];
        bytes[to++] = green[this.halves[from++]];
        bytes[to++] = blue[this.halves[from++]];
        bytes[to++] = 255;
      }
    }
    this.context.putImageData(part, x0, y0);
  }

  paintAll() {
    this.paint(0, 0, this.width, this.height);
  }

  copy() {
    const copy = new Picture(this.width, this.height);
    copy.halves.set(this.halves);
    copy.frames = this.frames;
    copy.paintAll();
    return copy;
  }
}

function pictureOf(image) {
  if (!pictures.has(image)) pictures.set(image, new Picture(size.width, size.height));
  return pictures.get(image);
}

function setSize(width, height) {
  if (width === size.width && height === size.height) return false;
  size.width = width;
  size.height = height;
  pictures.clear();
  return true;
}
