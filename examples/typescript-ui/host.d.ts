// The two globals of the host (Node) that the example UI uses. A UI project
// would install @types/node instead; these keep the check small and fast.
declare const console: { log(line: string): void };
declare function setTimeout(callback: () => void, ms: number): unknown;
