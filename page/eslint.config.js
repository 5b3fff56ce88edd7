import { dirname } from 'node:path';
import { fileURLToPath } from 'node:url';
import tseslint from 'typescript-eslint';

const here = dirname(fileURLToPath(import.meta.url));

export default tseslint.config(
  { ignores: ['build/', 'node_modules/', 'build.mjs', 'eslint.config.js'] },
  ...tseslint.configs.strictTypeChecked,
  ...tseslint.configs.stylisticTypeChecked,
  {
    languageOptions: { parserOptions: { projectService: true, tsconfigRootDir: here } },
    rules: {
      '@typescript-eslint/restrict-template-expressions': ['error', { allowNumber: true }],
      // The page never makes markup of text.
      'no-restricted-properties': ['error',
        { property: 'innerHTML', message: 'use textContent' },
        { property: 'outerHTML', message: 'use textContent' },
        { property: 'insertAdjacentHTML', message: 'use textContent' }],
      '@typescript-eslint/no-floating-promises': ['error',
        { allowForKnownSafeCalls: [{ from: 'package', package: 'node:test', name: 'test' }] }],
    },
  },
);
