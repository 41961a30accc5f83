/** What a fixed camera answers to getConfigurationCapabilities, and a configuration within it. */

const shape = (type, fewest, most, points) => ({
  type,
  min: [-1, -1],
  max: [1, 1],
  minNbrVertices: 3,
  maxNbrVertices: 20,
  minNbrInstances: fewest,
  maxNbrInstances: most,
  defaultInstance: fewest,
  default: points,
});

const square = (half) => [
  [-half, -half],
  [-half, half],
  [half, half],
  [half, -half],
];

export const CAPABILITIES = {
  profiles: {
    minNbrProfilesPerCamera: 0,
    maxNbrProfilesPerCamera: 3,
    minLengthName: 1,
    maxLengthName: 15,
  },
  presets: { maxNbrPresetsPerProfile: 1, defaultPreset: -2 },
  triggers: [
    shape('includeArea', 1, 1, square(0.97)),
    shape('loiteringArea', 0, 0, square(0.2)),
    shape('fence', 0, 0, square(0.2)),
  ],
  filters: [
    { type: 'timeShortLivedLimit', min: 1, max: 5, default: 1, defaultActive: true },
    { type: 'distanceSwayingObject', min: 3, max: 20, default: 5, defaultActive: true },
    { type: 'sizePercentage', min: [3, 3], max: [100, 100], default: [5, 5], defaultActive: true },
    shape('excludeArea', 0, 3, square(0.2)),
  ],
};

export function configuration() {
  return {
    cameras: [
      { id: 1, active: true, rotation: 0 },
      { id: 2, active: false, rotation: 90 },
    ],
    profiles: [
      {
        uid: 4,
        camera: 1,
        name: 'Square',
        triggers: [{ type: 'includeArea', data: square(0.9) }],
        filters: [
          { active: true, data: [5, 5], type: 'sizePercentage' },
          { active: true, data: 1, type: 'timeShortLivedLimit' },
          { active: false, data: 5, type: 'distanceSwayingObject' },
          { type: 'excludeArea', data: square(0.1) },
        ],
        perspective: [],
        priority: 1,
        unknownToThePage: { kept: [1, 2] },
      },
    ],
    configurationStatus: 7,
  };
}
