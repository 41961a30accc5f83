/** The place from above: up is pan 0. */

import { Canvas, trace } from './canvas.js';
import { footprint, likelyEllipse, makeCamera, niceStep, unitVector } from './geometry.js';
import { cameraOf } from './overview.js';

const FAR = 150; // metres; fields end here
const FIELD_FAR = 90; // metres; what the map shows of overview cameras that see the horizon

export class PlaceMap {
  constructor(element, store) {
    this.canvas = new Canvas(element);
    this.store = store;
    this.bounds = null; // metres
    store.on('model', (model) => this.measure(model));
  }

  /** The part of the ground that is shown: the mast and every overview camera's field. */
  measure(model) {
    const corners = model.channels.flatMap((channel) =>
      footprint(cameraOf(model, channel, null), FIELD_FAR),
    );
    const xs = [0, ...corners.map(({ x }) => x)];
    const ys = [0, ...corners.map(({ y }) => y)];
    this.bounds = {
      left: Math.min(...xs) - 6,
      right: Math.max(...xs) + 6,
      bottom: Math.min(...ys) - 6,
      top: Math.max(...ys) + 6,
    };
  }

  draw() {
    const { model, head } = this.store;
    const view = this.canvas.begin();
    if (!model || !this.bounds) return;
    const { left, right, bottom, top } = this.bounds;
    const scale = Math.min(view.width / (right - left), view.height / (top - bottom));
    const toPixels = ({ x, y }) => [
      view.width / 2 + (x - (left + right) / 2) * scale,
      view.height / 2 - (y - (bottom + top) / 2) * scale,
    ];
    const place = { ...view, scale, toPixels };
    this.drawGrid(place);
    for (const channel of model.channels) this.drawField(place, cameraOf(model, channel, head));
    if (head) this.drawHead(place, model, head);
    this.drawTrails(place);
    this.drawPeople(place);
    this.drawThought(place);
    this.drawMast(place);
  }

  drawGrid({ context, width, height, scale, toPixels }) {
    context.fillStyle = this.canvas.colour('earth');
    context.fillRect(0, 0, width, height);
    const step = niceStep(60 / scale);
    const [originX, originY] = toPixels({ x: 0, y: 0 });
    const gap = step * scale;
    context.strokeStyle = this.canvas.colour('grid');
    context.lineWidth = 1;
    context.beginPath();
    for (let x = originX % gap; x < width; x += gap) {
      trace(context, [
        [x, 0],
        [x, height],
      ]);
    }
    for (let y = originY % gap; y < height; y += gap) {
      trace(context, [
        [0, y],
        [width, y],
      ]);
    }
    context.stroke();
    context.fillStyle = this.canvas.colour('muted');
    context.fillText(`grid ${step} m`, 8, height - 8);
  }

  drawField({ context, toPixels }, camera) {
    context.strokeStyle = this.canvas.colour('include');
    context.lineWidth = 1.5;
    context.setLineDash([6, 4]);
    context.beginPath();
    trace(context, footprint(camera, FAR).map(toPixels));
    context.closePath();
    context.stroke();
    context.setLineDash([]);
  }

  drawHead({ context, toPixels }, model, head) {
    const camera = makeCamera({ x: 0, y: 0, z: model.mast_height_m }, head, head.hfov, head.vfov);
    const edge = (side) => {
      const { x, y } = unitVector({ pan: head.pan + (side * head.hfov) / 2, tilt: 0 });
      return { x: x * FAR, y: y * FAR };
    };
    const colour = this.canvas.colour('head');
    context.fillStyle = colour;
    context.globalAlpha = 0.12;
    context.beginPath();
    trace(context, [{ x: 0, y: 0 }, edge(-1), edge(1)].map(toPixels));
    context.fill();
    context.globalAlpha = 0.28;
    context.beginPath();
    trace(context, footprint(camera, FAR).map(toPixels));
    context.fill();
    context.globalAlpha = 1;
    const { x, y } = unitVector({ pan: head.pan, tilt: 0 });
    context.strokeStyle = colour;
    context.lineWidth = 1.5;
    context.beginPath();
    trace(
      context,
      [
        { x: 0, y: 0 },
        { x: x * FAR, y: y * FAR },
      ].map(toPixels),
    );
    context.stroke();
  }

  drawTrails({ context, toPixels }) {
    context.lineWidth = 1.5;
    for (const [id, trail] of this.store.trails) {
      context.strokeStyle = this.colourOf(id);
      context.globalAlpha = 0.6;
      context.beginPath();
      trace(context, trail.map(toPixels));
      context.stroke();
    }
    context.globalAlpha = 1;
  }

  drawPeople({ context, toPixels }) {
    for (const person of this.store.people) {
      const [x, y] = toPixels(person);
      context.fillStyle = this.colourOf(person.id);
      context.beginPath();
      context.arc(x, y, 4.5, 0, 2 * Math.PI);
      context.fill();
      context.fillStyle = this.canvas.colour('text');
      context.fillText(String(person.id), x + 7, y + 4);
    }
  }

  /** Whom the daemon knows: where they came from, and where they will be with 95 %. */
  drawThought({ context, scale, toPixels }) {
    const { thought, tracks } = this.store;
    if (!thought) return;
    context.strokeStyle = this.canvas.colour('thought');
    context.fillStyle = this.canvas.colour('thought');
    for (const { identity, place, covariance, followed, wanted } of thought.people) {
      context.globalAlpha = followed ? 1 : wanted ? 0.7 : 0.4;
      context.lineWidth = followed ? 2.5 : 1.5;
      const [x, y] = toPixels({ x: place[0], y: place[1] });
      context.setLineDash([2, 3]);
      context.beginPath();
      trace(context, (tracks.get(identity) ?? []).map(toPixels));
      context.stroke();
      context.setLineDash([]);
      const { long, short, angle } = likelyEllipse(covariance);
      context.beginPath();
      // The map's y grows upwards.
      context.ellipse(x, y, long * scale, short * scale, -angle, 0, 2 * Math.PI);
      context.stroke();
      context.fillText(`#${identity}`, x + 7, y - 6);
    }
    context.globalAlpha = 1;
  }

  colourOf(id) {
    return this.canvas.colour(id === this.store.nearest?.id ? 'target' : 'person');
  }

  drawMast({ context, toPixels }) {
    const [x, y] = toPixels({ x: 0, y: 0 });
    context.fillStyle = this.canvas.colour('text');
    context.beginPath();
    context.rect(x - 4, y - 4, 8, 8);
    context.fill();
    context.fillText('mast', x + 9, y + 4);
  }
}
