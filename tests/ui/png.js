// Small PNG pictures for skin pieces, made without any image library.
const zlib = require('zlib');

// A PNG of the given size: a rounded card with a border and a vertical gradient, for skin pieces.
function png(w, h, { top, bottom, border, radius = 10, edge = 2 }) {
  const rows = [];
  for (let y = 0; y < h; y++) {
    const row = Buffer.alloc(1 + w * 4);
    for (let x = 0; x < w; x++) {
      const dx = Math.max(radius - x, x - (w - 1 - radius), 0);
      const dy = Math.max(radius - y, y - (h - 1 - radius), 0);
      const d = Math.hypot(dx, dy);
      const inside = d <= radius;
      const onEdge = inside && (d > radius - edge || x < edge || y < edge || x >= w - edge || y >= h - edge);
      const t = y / Math.max(1, h - 1);
      const c = onEdge ? border : top.map((v, i) => Math.round(v + (bottom[i] - v) * t));
      row.set(inside ? [...c, 255] : [0, 0, 0, 0], 1 + x * 4);
    }
    rows.push(row);
  }
  const crcTable = [...Array(256)].map((_, n) => { let c = n; for (let k = 0; k < 8; k++) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1; return c >>> 0; });
  const crc = (buf) => { let c = 0xffffffff; for (const b of buf) c = crcTable[(c ^ b) & 255] ^ (c >>> 8); return (c ^ 0xffffffff) >>> 0; };
  const chunk = (type, data) => {
    const len = Buffer.alloc(4); len.writeUInt32BE(data.length);
    const body = Buffer.concat([Buffer.from(type), data]);
    const sum = Buffer.alloc(4); sum.writeUInt32BE(crc(body));
    return Buffer.concat([len, body, sum]);
  };
  const ihdr = Buffer.alloc(13);
  ihdr.writeUInt32BE(w, 0); ihdr.writeUInt32BE(h, 4); ihdr.set([8, 6, 0, 0, 0], 8);
  return Buffer.concat([Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]), chunk('IHDR', ihdr),
    chunk('IDAT', zlib.deflateSync(Buffer.concat(rows))), chunk('IEND', Buffer.alloc(0))]);
}

module.exports = { png };
