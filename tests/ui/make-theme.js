// Writes a skinned theme file for the window test: node make-theme.js FILE
// Its panel header piece is one flat colour, so that a screenshot can tell whether the skin was painted.
const fs = require('fs');
const { png } = require('./png');

const flat = (w, h, rgb) => png(w, h, { top: rgb, bottom: rgb, border: rgb, radius: 0, edge: 0 }).toString('base64');
const theme = {
  name: 'Window Test', bgMain: '#140e22', bgPanel: '#1e162e', bgHeader: '#2a1d42', accent: '#f59a3c',
  accentHover: '#ffb15c', text: '#efe6ff', font: "'Segoe UI', Tahoma, Geneva, Verdana, sans-serif",
  format: 2,
  skin: { template: 1, pieces: { 'panel-header': flat(256, 78, [0, 150, 90]), 'button-accent': flat(192, 64, [200, 40, 160]) } },
};
fs.writeFileSync(process.argv[2], JSON.stringify(theme));
