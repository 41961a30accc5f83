/**
 * The editing of areas: lists of [x, y] vertices, -1 to 1, y upwards. Every function returns a new
 * list and leaves the given one alone.
 *
 * @typedef {[number, number]} Vertex
 */

/** Three decimals: a hair more than a scene's own grain of 1/4096. */
export function roundCoordinate(value) {
  return Math.round(value * 1000) / 1000 || 0;
}

export function clampCoordinate(value) {
  return roundCoordinate(Math.min(1, Math.max(-1, value)));
}

/** Moves one vertex; it stays within the picture. */
export function moveVertex(vertices, index, x, y) {
  return vertices.map((vertex, i) =>
    i === index ? [clampCoordinate(x), clampCoordinate(y)] : vertex,
  );
}

/** The middle of the edge that follows a vertex. */
export function edgeMiddle(vertices, index) {
  const [ax, ay] = vertices[index];
  const [bx, by] = vertices[(index + 1) % vertices.length];
  return [roundCoordinate((ax + bx) / 2), roundCoordinate((ay + by) / 2)];
}

/** Adds a vertex in the middle of the edge that follows a vertex. */
export function insertVertex(vertices, index) {
  return [
    ...vertices.slice(0, index + 1),
    edgeMiddle(vertices, index),
    ...vertices.slice(index + 1),
  ];
}

export function removeVertex(vertices, index) {
  return vertices.filter((_, i) => i !== index);
}
