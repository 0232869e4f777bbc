// The way from light to bytes: exposure, white and a tone curve, as a table over all half floats,
// so that moving a slider needs no server and a pixel costs three look-ups.
const tone = { exposure: 0, white: 6500, curve: 'none', tables: null };

function floatOfHalf(h) {
  const exponent = (h >> 10) & 31, fraction = h & 1023;
  if (exponent === 0) return fraction * 2 ** -24;
  return exponent === 31 ? 65504 : (1 + fraction / 1024) * 2 ** (exponent - 15);
}

const floats = new Float32Array(65536);
for (let h = 0; h < 32768; ++h) {
  floats[h] = floatOfHalf(h);
  floats[h + 32768] = -floats[h];
}

// The curves of "moonhare convert".
const curves = {
  none: x => x,
  linear: x => x,
  aces: x => (x * (2.51 * x + 0.03)) / (x * (2.43 * x + 0.59) + 0.14),
  filmic: x => filmResponse(2 * x) / filmResponse(11.2),
};

function filmResponse(x) {
  return (x * (0.15 * x + 0.05) + 0.004) / (x * (0.15 * x + 0.5) + 0.06) - 0.02 / 0.3;
}

function srgbOf(x) {
  return x <= 0.0031308 ? 12.92 * x : 1.055 * x ** (1 / 2.4) - 0.055;
}

// Linear colour of a black body, by the cubic fits of its chromaticity of Kim and others, 2002.
function blackBody(kelvin) {
  const t = 1000 / kelvin;
  const x = kelvin < 4000
    ? ((-0.2661239 * t - 0.234358) * t + 0.8776956) * t + 0.17991
    : ((-3.0258469 * t + 2.1070379) * t + 0.2226347) * t + 0.24039;
  const y = kelvin < 2222 ? ((-1.1063814 * x - 1.3481102) * x + 2.18555832) * x - 0.20219683
    : kelvin < 4000 ? ((-0.9549476 * x - 1.37418593) * x + 2.09137015) * x - 0.16748867
      : ((3.081758 * x - 5.8733867) * x + 3.75112997) * x - 0.37001483;
  const X = x / y, Z = (1 - x - y) / y;
  return [3.2406 * X - 1.5372 - 0.4986 * Z, -0.9689 * X + 1.8758 + 0.0415 * Z,
    0.0557 * X - 0.204 + 1.057 * Z].map(v => Math.max(v, 0.01));
}

// What light of that temperature is to be multiplied by to be neutral.
function whiteGains(kelvin) {
  const light = blackBody(kelvin), neutral = blackBody(6500);
  const gains = neutral.map((v, i) => v / light[i]);
  return gains.map(v => v / gains[1]);
}

function makeTable(gain) {
  const table = new Uint8Array(65536), curve = curves[tone.curve];
  const transfer = tone.curve === 'linear' ? x => x : srgbOf;
  for (let h = 1; h < 32768; ++h) {
    const value = transfer(Math.max(curve(floats[h] * gain), 0));
    table[h] = Math.min(Math.floor(255 * value + 0.5), 255);
  }
  return table;
}

function updateTone() {
  tone.tables = whiteGains(tone.white).map(gain => makeTable(gain * 2 ** tone.exposure));
}
updateTone();
