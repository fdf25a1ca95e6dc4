// Scores every text of a corpus with the reference implementation in the vader-sentiment package and prints
// the texts with their compound scores as one JSON array of [text, compound] pairs.
//
//   node reference.js <vader-sentiment package directory> <corpus file>
//
// The corpus has one text a line. Empty lines and lines starting with "# " are skipped. In a text, \n, \r, \t
// and \\ stand for themselves and \u{hex} for any code point, so that line breaks and invisible characters can
// be written down.
'use strict';

const fs = require('fs');
const path = require('path');

const [packageDir, corpusFile] = process.argv.slice(2);
if (!packageDir || !corpusFile) {
  console.error('usage: node reference.js <vader-sentiment package directory> <corpus file>');
  process.exit(2);
}
const vader = require(path.resolve(packageDir));

function decode(line) {
  return line.replace(/\\(u\{([0-9A-Fa-f]+)\}|[nrt\\])/g, (escape, body, hex) => {
    if (hex !== undefined) {
      return String.fromCodePoint(parseInt(hex, 16));
    }
    return {n: '\n', r: '\r', t: '\t', '\\': '\\'}[body];
  });
}

const texts = fs
  .readFileSync(corpusFile, 'utf8')
  .split('\n')
  .filter(line => line !== '' && !line.startsWith('# '))
  .map(decode);
const scored = texts.map(text => [text, vader.SentimentIntensityAnalyzer.polarity_scores(text).compound]);
process.stdout.write(JSON.stringify(scored) + '\n');
